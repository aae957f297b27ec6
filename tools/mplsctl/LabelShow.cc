/// `mplsctl label show`: the dynamic range, its blocks and who has them, and the requests that
/// wait.
#include <iostream>

#include "agents/common/ExitCode.h"
#include "agents/common/Printable.h"
#include "agents/common/Table.h"
#include "tools/mplsctl/Ages.h"
#include "tools/mplsctl/LabelReader.h"

namespace MplsCtl {

namespace {

using Agents::printable;

/// The number of the block in the range; none for one that lies outside, or askew.
std::optional<std::uint32_t> indexOf(const LabelView& view, const Mpls::LabelBlock& block) {
  if (!view.range || !view.range->issues(block)) return std::nullopt;
  return view.range->blockIdx(block.blockStart());
}

void printBlocks(const LabelView& view) {
  Agents::TableStream table(std::cout, {"CLIENT", "ID", "LABELS", "BLOCK"});
  for (const auto& [request, block] : view.blocks) {
    const auto index = indexOf(view, block);
    table.add({printable(request.first), printable(request.second), blockText(block),
               index ? std::to_string(*index) : "-"});
  }
  table.end();
}

void printWaits(const LabelView& view) {
  Agents::TableStream table(std::cout, {"CLIENT", "ID", "WAITS"});
  for (const auto& [request, seconds] : view.waits)
    table.add({printable(request.first), printable(request.second),
               seconds ? secondsText(*seconds) : "-"});
  table.end();
}

void printText(const LabelReader& reader, const LabelView& view) {
  if (!view.routing) std::cout << "MPLS routing is off: no blocks are given\n";
  std::cout << "Dynamic range: " << (view.range ? rangeText(*view.range) : "none yet") << '\n'
            << "Blocks given: " << view.blocks.size() << '\n';
  if (!view.blocks.empty()) printBlocks(view);
  std::cout << "Requests that wait: " << view.waits.size() << '\n';
  if (!view.waits.empty()) printWaits(view);
  std::string before = "\n";
  for (const std::string& line : reader.gone())
    std::cout << std::exchange(before, "") << printable(line) << ": as last published\n";
}

void printJson(const LabelReader& reader, const LabelView& view) {
  Agents::JsonWriter writer(std::cout, false);
  writer.begin();
  writer.member("mplsRouting", view.routing);
  if (view.range) writer.member("range", rangeJson(*view.range));
  writer.list("blocks", view.blocks, [&](const auto& one) {
    Agents::Json json = requestJson(one.first);
    json.update(blockJson(one.second));
    if (const auto index = indexOf(view, one.second)) json["block"] = *index;
    return json;
  });
  writer.list("waiting", view.waits, [](const auto& one) {
    Agents::Json json = requestJson(one.first);
    if (one.second) json["seconds"] = *one.second;
    return json;
  });
  writer.list("gone", reader.gone(), [](const std::string& line) { return Agents::Json(line); });
  writer.end();
}

}  // namespace

int labelShow(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::query);
  LabelReader reader(program);
  if (!reader.await(options)) return exitCodeOf(program);
  (options.json ? printJson : printText)(reader, reader.view());
  return Agents::exitGood;
}

}  // namespace MplsCtl
