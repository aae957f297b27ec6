#include "agents/static-routes/RouteLoader.h"

namespace StaticRoutes {

namespace {

/// Whether that changed anything.
bool viasAre(Mpls::Route& route, const Vias& vias) {
  bool changed = false;
  for (const Mpls::Via& via : vias) {
    if (route.viaFind(via)) continue;
    route.viaIs(via, true);
    changed = true;
  }
  for (const auto& one : route.viaIteratorConst()) {
    if (vias.contains(one.key)) continue;
    route.viaDel(one.key);
    changed = true;
  }
  return changed;
}

}  // namespace

RouteDifference routesAre(Mpls::RouteConfigInput& input,
                          const std::map<Mpls::RouteKey, Vias>& routes, bool dynamic) {
  RouteDifference difference;
  for (const auto& one : input.routeIteratorConst()) {
    if (routes.contains(one.key)) continue;
    input.routeDel(one.key);
    ++difference.removed;
  }
  for (const auto& [key, vias] : routes) {
    const bool there = input.routeFind(key) != nullptr;
    const Forma::Ptr<Mpls::Route> route = input.routeIs(key);
    if (!there) route->dynamicIs(dynamic);
    const bool changed = viasAre(*route, vias);
    if (!there) ++difference.added;
    else if (changed) ++difference.changed;
  }
  return difference;
}

}  // namespace StaticRoutes
