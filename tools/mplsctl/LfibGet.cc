/// `mplsctl lfib get LABEL [METRIC]`: the routes of one label, by one lookup for each metric.
#include <iostream>

#include "agents/common/ExitCode.h"
#include "agents/common/Printable.h"
#include "tools/mplsctl/LfibReader.h"

namespace MplsCtl {

namespace {

struct Found {
  const LfibDirectory* directory;
  LfibEntry entry;
};

std::vector<Found> find(const LfibReader& reader, const Options& options) {
  std::vector<Found> found;
  const unsigned first = options.metric.value_or(0), last = options.metric.value_or(255);
  for (const auto& one : reader.directories())
    for (unsigned metric = first; metric <= last; ++metric)
      if (auto entry = lfibEntryOf(one->lfib(), {options.label, static_cast<std::uint8_t>(metric)}))
        found.push_back({one.get(), *std::move(entry)});
  return found;
}

void printText(const std::vector<Found>& found) {
  for (const Found& one : found)
    std::cout << lfibLine(one.entry) << " (" << Agents::printable(one.directory->path()) << ", "
              << Agents::printable(one.directory->writerText()) << ")\n";
}

void printJson(const LfibReader& reader, const std::vector<Found>& found) {
  Agents::JsonWriter writer(std::cout, false);
  writer.begin();
  writer.list("directories", reader.directories(), [](const auto& one) { return one->json(); });
  writer.list("routes", found, [](const Found& one) {
    Agents::Json json = {{"directory", one.directory->path()}};
    json.update(lfibJson(one.entry));
    return json;
  });
  writer.end();
}

}  // namespace

int lfibGet(const Options& options) {
  LfibReader reader(options, false);
  if (!reader.await()) return Agents::exitDatabase;
  const std::vector<Found> found = find(reader, options);
  if (options.json) printJson(reader, found);
  else printText(found);
  if (!found.empty()) return reader.exitCode();
  reader.log().say("no route of label " + std::to_string(options.label) +
                   (options.metric ? " metric " + std::to_string(*options.metric) : ""));
  return Agents::exitDatabase;
}

}  // namespace MplsCtl
