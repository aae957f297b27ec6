#include "mpls/entities/Registration.h"

#include "mpls/entities/ApiStatus.h"
#include "mpls/entities/Capability.h"
#include "mpls/entities/CommonLib.h"
#include "mpls/entities/Config.h"
#include "mpls/entities/DownstreamMappingSource.h"
#include "mpls/entities/HardwareStatus.h"
#include "mpls/entities/RouteConfig.h"
#include "mpls/entities/SegmentRoutingStatus.h"
#include "mpls/entities/Status.h"
#include "mpls/labelmgr/ClientLabelRequest.h"
#include "mpls/labelmgr/WaitingLabelRequests.h"
#include "mpls/tables/Registration.h"
#include "platform/forma/Dir.h"

namespace Mpls {

void registerEntityTypes(Forma::TypeRegistry& registry) {
  registerTableTypes(registry);
  registry.addEntity<Forma::Dir, Config, RoutingInfo, Route, RouteConfigInput, RouteConfig,
                     DownstreamMappingSource, DownstreamMappingSourceColl, CommonLib>();
  registry.add<LabelRequest, LabelBlock>();
  registry.addEntity<ClientLabelRequest, LabelBlockAllocation, Api::Status>();
  registry.addEntity<ClientWaitingRequests, WaitingLabelRequests>();
  registry.addEntity<Status, LFib::Adjacency, LFib::PwAdjacency, LFib::ExtFecAdjacency>();
  registry.addEntity<Hardware::Status, Hardware::Adjacency, Hardware::L2Adjacency,
                     Hardware::PwAdjacency, Hardware::ExtFecAdjacency, Hardware::AdjacencySet,
                     Hardware::Capability>();
  registry.addEntity<SegmentRouting::Status, SegmentRouting::AdjacencySegment,
                     SegmentRouting::IpReachabilityTable, SegmentRouting::PrefixList>();
}

}  // namespace Mpls
