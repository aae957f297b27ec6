/// `mplsctl route conflicts`: the keys that several inputs claim, and that are therefore withheld.
#include <iostream>

#include "agents/common/ExitCode.h"
#include "agents/routes/RouteJson.h"
#include "agents/routes/RouteText.h"
#include "tools/mplsctl/RouteReader.h"

namespace MplsCtl {

namespace {

void printText(const StaticRoutes::MergedView& view, const RouteReader& reader) {
  std::cout << "Withheld conflicts: " << view.conflicts.size() << '\n';
  if (!view.conflicts.empty())
    Agents::printTable(std::cout, StaticRoutes::conflictRows(view.conflicts));
  reader.printGone(std::cout);
}

void printJson(const StaticRoutes::MergedView& view, const RouteReader& reader) {
  Agents::JsonWriter writer(std::cout, false);
  writer.begin();
  writer.list("conflicts", view.conflicts,
              [](const auto& one) { return StaticRoutes::conflictJson(one.first, one.second); });
  writer.member("publishers", reader.publishers());
  writer.end();
}

}  // namespace

int routeConflicts(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::query);
  RouteReader reader(program);
  if (!reader.await(options)) return exitCodeOf(program);
  (options.json ? printJson : printText)(reader.follow().view(), reader);
  return Agents::exitGood;
}

}  // namespace MplsCtl
