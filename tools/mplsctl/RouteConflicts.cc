/// `mplsctl route conflicts`: the keys that several inputs claim, and that are therefore withheld.
#include "agents/routes/RouteJson.h"
#include "agents/routes/RouteText.h"
#include "tools/mplsctl/RouteReader.h"

namespace MplsCtl {

namespace {

void printText(std::ostream& out, const StaticRoutes::MergedView& view) {
  out << "Withheld conflicts: " << view.conflicts.size() << '\n';
  if (!view.conflicts.empty()) Agents::printTable(out, StaticRoutes::conflictRows(view.conflicts));
}

void printJson(Agents::JsonWriter& writer, const StaticRoutes::MergedView& view) {
  writer.list("conflicts", view.conflicts,
              [](const auto& one) { return StaticRoutes::conflictJson(one.first, one.second); });
}

}  // namespace

int routeConflicts(const Options& options) { return printRoutes(options, {printText, printJson}); }

}  // namespace MplsCtl
