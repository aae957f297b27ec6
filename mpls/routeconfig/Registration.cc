#include "mpls/routeconfig/Registration.h"

#include "mpls/entities/Registration.h"
#include "mpls/routeconfig/CopyHandlerDir.h"
#include "platform/session/Registration.h"

namespace Mpls {

void registerRouteConfigTypes(Forma::TypeRegistry& registry) {
  registerEntityTypes(registry);
  Session::registerTypes(registry);
  registry.addEntity<CopyHandlerDir, MplsConfigCopyHandler>();
}

}  // namespace Mpls
