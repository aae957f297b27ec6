/// `mplsctl route show`: the routes in force, each with the input that it comes from; and
/// `mplsctl route conflicts`: the keys that several inputs claim, and that are therefore withheld.
#include "agents/common/ExitCode.h"
#include "tools/mplsctl/Output.h"
#include "tools/mplsctl/RouteReader.h"
#include "tools/mplsctl/RouteRecords.h"

namespace MplsCtl {

namespace {

/// Reads once, and shows routes or conflicts, and who is gone.
int show(const Options& options, const RecordType& type, const std::string& title, auto choose) {
  Agents::Program program(options, Agents::Program::Kind::query);
  RouteReader reader(program);
  if (!reader.await(options)) return exitCodeOf(program);
  const auto& chosen = choose(reader.follow().view());
  Output out(options, chosen.size());
  out.fact("publishers", reader.publishers());
  out.line(title + std::to_string(chosen.size()));
  Record record(type);
  for (const auto& [key, one] : chosen) {
    fillRecord(record, key, one);
    if (!out.add(record)) break;
  }
  reader.tellGone(out);
  return out.end(Agents::exitGood);
}

}  // namespace

int routeShow(const Options& options) {
  return show(
      options, mergedRouteType,
      "Merged routes: ", [](const auto& view) -> const auto& { return view.routes; });
}

int routeConflicts(const Options& options) {
  return show(
      options, conflictType,
      "Withheld conflicts: ", [](const auto& view) -> const auto& { return view.conflicts; });
}

}  // namespace MplsCtl
