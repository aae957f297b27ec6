/// `mplsctl lfib show`: the routes in the LFIB, each with the vias that it leads over.
#include <iostream>

#include "agents/common/ExitCode.h"
#include "tools/mplsctl/LfibReader.h"

namespace MplsCtl {

namespace {

void printText(const LfibReader& reader) {
  std::string before;
  for (const auto& one : reader.directories()) {
    std::cout << std::exchange(before, "\n");
    LfibReader::print(std::cout, *one);
  }
}

void printJson(const LfibReader& reader) {
  Agents::JsonWriter writer(std::cout, false);
  writer.begin();
  writer.list("directories", reader.directories(), [](const auto& one) { return one->json(); });
  writer.listBegin("routes");
  for (const auto& one : reader.directories())
    for (const Mpls::RouteKey& key : LfibReader::keysOf(*one)) {
      const auto entry = lfibEntryOf(one->lfib(), key);
      if (!entry) continue;  // it went meanwhile
      Agents::Json json = {{"directory", one->path()}};
      json.update(lfibJson(*entry));
      writer.item(json);
    }
  writer.listEnd();
  writer.end();
}

}  // namespace

int lfibShow(const Options& options) {
  LfibReader reader(options, false);
  if (!reader.await()) return Agents::exitDatabase;
  (options.json ? printJson : printText)(reader);
  return reader.exitCode();
}

}  // namespace MplsCtl
