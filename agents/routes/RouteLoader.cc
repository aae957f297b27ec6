#include "agents/routes/RouteLoader.h"

namespace StaticRoutes {

namespace {

void viasAre(Mpls::Route& route, const Vias& vias) {
  for (const Mpls::Via& via : vias)
    if (!route.viaFind(via)) route.viaIs(via, true);
  for (const auto& one : route.viaIteratorConst())
    if (!vias.contains(one.key)) route.viaDel(one.key);
}

}  // namespace

void routesAre(Mpls::RouteConfigInput& input, const std::map<Mpls::RouteKey, Vias>& routes,
               bool dynamic) {
  for (const auto& one : input.routeIteratorConst())
    if (!routes.contains(one.key)) input.routeDel(one.key);
  for (const auto& [key, vias] : routes) {
    const bool there = input.routeFind(key) != nullptr;
    const Forma::Ptr<Mpls::Route> route = input.routeIs(key);
    if (!there) route->dynamicIs(dynamic);
    viasAre(*route, vias);
  }
}

}  // namespace StaticRoutes
