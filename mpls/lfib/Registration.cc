#include "mpls/lfib/Registration.h"

#include "mpls/lfib/LfibCentrumStatus.h"
#include "mpls/lfib/LfibHwReasonStatus.h"
#include "mpls/lfib/LfibHwStatus.h"
#include "mpls/lfib/LfibIpLookupStatus.h"
#include "mpls/lfib/LfibStatus.h"
#include "mpls/lfib/LfibTrackingSets.h"
#include "mpls/lfib/LfibTrackingStatus.h"
#include "mpls/types/Registration.h"

namespace Mpls {

void registerLfibTypes(Forma::TypeRegistry& registry) {
  registerTypes(registry);
  registry.add<LfibViaType, LfibHwProgrammingReturnCode>();
  registry.add<LfibViaKey, LfibViaSetKey, LfibDot1qTagToVlanKey, LfibDot1qTagToVlanCompositeKey>();
  registry.add<Forma::BoundedArray<LfibViaKey, LfibViaIndexRange>,
               Forma::BoundedArray<std::uint8_t, LfibVrfNameIndexRange>>();
  registry.add<LfibRoute, LfibViaSet, LfibMplsVia, LfibPwVia, LfibIpLookupVia, LfibVlanVia,
               LfibEvpnVlanAwareVia, LfibEvpnEthernetSegmentFilterVia, LfibEvpnVlanFloodVia,
               LfibEvpnVlanAwareFloodVia, LfibDot1qTagToVlanComposite, RouteInfo,
               LfibIpLookupStatusLabelVrfAf>();
  registry.add<LfibHwReason, UnprogrammedReasonKey, UnprogrammedReason>();
  registry.addEntity<LfibHwReasonStatus>();
  registry.addEntity<LfibStatus, LfibHwStatus, LfibDot1qTagToVlan, LfibTrackingStatus,
                     LfibIpLookupStatus>();
  registry.addEntity<LfibViaSetKeyToRouteKeySet, LfibViaSetKeyToLfibViaKeySet,
                     LfibViaKeyToLfibViaSetKeySet>();
  registry.add<LfibCentrumIpLookupVia, LfibCentrumVlanVia, LfibCentrumVlanFloodVia,
               LfibCentrumEthernetSegmentFilterVia>();
  registry.addEntity<LfibCentrumStatus>();
}

}  // namespace Mpls
