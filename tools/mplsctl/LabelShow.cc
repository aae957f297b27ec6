/// `mplsctl label show`: the dynamic range, its blocks and who has them, and the requests that
/// wait.
#include "agents/common/ExitCode.h"
#include "tools/mplsctl/Commands.h"
#include "tools/mplsctl/LabelRecords.h"
#include "tools/mplsctl/Output.h"

namespace MplsCtl {

namespace {

void showBlocks(Output& out, const LabelView& view) {
  Record record(labelBlockType);
  for (const auto& [request, block] : view.blocks) {
    fillRecord(record, request, block, view);
    out.add(record);
  }
}

void showWaits(Output& out, const LabelView& view) {
  Record record(labelWaitType);
  for (const auto& [request, seconds] : view.waits) {
    fillRecord(record, request, seconds);
    out.add(record);
  }
}

}  // namespace

int labelShow(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::query);
  LabelReader reader(program);
  if (!reader.await(options)) return exitCodeOf(program);
  const LabelView view = reader.view();
  Output out(options);
  out.fact("mplsRouting", view.routing);
  if (!view.routing) out.redLine("MPLS routing is off: no blocks are given");
  if (view.range) out.fact("range", rangeJson(*view.range));
  out.line("Dynamic range: " + (view.range ? rangeText(*view.range) : "none yet"));
  out.line("Blocks given: " + std::to_string(view.blocks.size()));
  showBlocks(out, view);
  out.line("Requests that wait: " + std::to_string(view.waits.size()));
  showWaits(out, view);
  tellGone(out, reader.gone(), "as last published");
  return out.end(Agents::exitGood);
}

}  // namespace MplsCtl
