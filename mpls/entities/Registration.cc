#include "mpls/entities/Registration.h"

#include "mpls/entities/CommonLib.h"
#include "mpls/entities/Config.h"
#include "mpls/entities/DownstreamMappingSource.h"
#include "mpls/entities/RouteConfig.h"
#include "mpls/tables/Registration.h"
#include "platform/forma/Dir.h"

namespace Mpls {

void registerEntityTypes(Forma::TypeRegistry& registry) {
  registerTableTypes(registry);
  registry.addEntity<Forma::Dir, Config, RoutingInfo, Route, RouteConfigInput, RouteConfig,
                     DownstreamMappingSource, DownstreamMappingSourceColl, CommonLib>();
}

}  // namespace Mpls
