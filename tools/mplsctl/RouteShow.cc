/// `mplsctl route show`: the routes in force, each with the input that it comes from.
#include <iostream>

#include "agents/common/ExitCode.h"
#include "agents/routes/RouteJson.h"
#include "agents/routes/RouteText.h"
#include "tools/mplsctl/RouteReader.h"

namespace MplsCtl {

namespace {

void printText(const StaticRoutes::MergedView& view, const RouteReader& reader) {
  std::cout << "Merged routes: " << view.routes.size() << '\n';
  if (!view.routes.empty()) Agents::printTable(std::cout, StaticRoutes::routeRows(view.routes));
  reader.printGone(std::cout);
}

void printJson(const StaticRoutes::MergedView& view, const RouteReader& reader) {
  Agents::JsonWriter writer(std::cout, false);
  writer.begin();
  writer.list("routes", view.routes,
              [](const auto& one) { return StaticRoutes::routeJson(one.first, one.second); });
  writer.member("publishers", reader.publishers());
  writer.end();
}

}  // namespace

int routeShow(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::query);
  RouteReader reader(program);
  if (!reader.await(options)) return exitCodeOf(program);
  (options.json ? printJson : printText)(reader.follow().view(), reader);
  return Agents::exitGood;
}

}  // namespace MplsCtl
