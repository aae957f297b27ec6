#include "agents/routes/RouteLoader.h"

#include <stdexcept>

#include "mpls/routeconfig/CopyHandlerDir.h"

namespace StaticRoutes {

namespace {

Session::CopyHandlers copyHandlers() {
  const auto dir = Mpls::copyHandlerDirFactory("mpls");
  dir->newCopyHandler();
  Session::CopyHandlers handlers;
  handlers.addAllOf(dir);
  return handlers;
}

}  // namespace

Forma::Ptr<Mpls::RouteConfigInput> candidateFrom(const Forma::Name& name,
                                                 const std::map<Mpls::RouteKey, Vias>& routes,
                                                 bool dynamic) {
  auto candidate = Mpls::routeConfigInputFactory(name);
  candidate->routeReserve(routes.size());
  for (const auto& [key, vias] : routes) {
    const Forma::Ptr<Mpls::Route> route = candidate->routeIs(key);
    route->dynamicIs(dynamic);
    for (const Mpls::Via& via : vias) route->viaIs(via, true);
  }
  return candidate;
}

void commit(const Forma::Ptr<Mpls::RouteConfigInput>& input,
            const Forma::PtrConst<Mpls::RouteConfigInput>& candidate) {
  const Session::CopyHandlers handlers = copyHandlers();
  Session::EntityCopy copy(handlers);
  if (copy.copyEntity(input, candidate)) return;
  const Session::CopyFailure& first = copy.failures().front();
  throw std::runtime_error(first.path + ": " + first.text);
}

}  // namespace StaticRoutes
