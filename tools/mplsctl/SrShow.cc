/// `mplsctl sr show`, `get` and `watch`: the segment-routing tables: global blocks, prefix
/// segments, and the routes that push labels.
#include <utility>

#include "agents/common/ExitCode.h"
#include "tools/mplsctl/Commands.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/Output.h"
#include "tools/mplsctl/Query.h"
#include "tools/mplsctl/SnapshotWatch.h"
#include "tools/mplsctl/SrReader.h"

namespace MplsCtl {

namespace {

void showInstance(Output& out, const SrInstance& instance) {
  const auto add = [&out](const Record& record) { out.add(record); };
  const auto& status = instance.status();
  out.line(instance.path() + ": " + instance.writerText());
  out.line("Global blocks: " + std::to_string(status.globalBlocks()));
  instance.eachBlock(add);
  out.line("Prefix segments: " + std::to_string(status.prefixSegments()));
  instance.eachSegment(add);
  out.line("Routes: " + std::to_string(status.v4Routes() + status.v6Routes()));
  instance.eachRoute(add);
}

}  // namespace

RecordTypes srTypes() { return SrReader::types(); }

int srShow(const Options& options) {
  SrReader reader(options);
  if (!reader.await()) return reader.exitCode();
  Output out(options);
  Agents::Json all = Agents::Json::array();
  for (const auto& one : reader.instances()) all.push_back(one->json());
  out.fact("instances", all);
  bool isFirst = true;
  for (const auto& one : reader.instances()) {
    if (!std::exchange(isFirst, false)) out.line("");
    showInstance(out, *one);
  }
  return out.end(reader.exitCode());
}

int srWatch(const Options& options) {
  SrReader reader(options);
  if (!reader.await()) return reader.exitCode();
  for (const auto& one : reader.instances())
    tellInfo(options, "watching " + one->path() + ", " + one->writerText());
  SnapshotWatch watch(options);
  return repeat(reader.loop(), lookInterval(options), [&] {
    reader.lookForMore();
    watch.look([&reader](const SnapshotWatch::Visit& visit) {
      for (const auto& one : reader.instances()) {
        one->eachBlock(visit);
        one->eachSegment(visit);
        one->eachRoute(visit);
      }
    });
    return true;
  });
}

}  // namespace MplsCtl
