/// `mplsctl route show`: the routes in force, each with the input that it comes from.
#include "agents/routes/RouteJson.h"
#include "agents/routes/RouteText.h"
#include "tools/mplsctl/RouteReader.h"

namespace MplsCtl {

namespace {

void printText(std::ostream& out, const StaticRoutes::MergedView& view) {
  out << "Merged routes: " << view.routes.size() << '\n';
  if (!view.routes.empty()) Agents::printTable(out, StaticRoutes::routeRows(view.routes));
}

void printJson(Agents::JsonWriter& writer, const StaticRoutes::MergedView& view) {
  writer.list("routes", view.routes,
              [](const auto& one) { return StaticRoutes::routeJson(one.first, one.second); });
}

}  // namespace

int routeShow(const Options& options) { return printRoutes(options, {printText, printJson}); }

}  // namespace MplsCtl
