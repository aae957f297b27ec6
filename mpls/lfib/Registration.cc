#include "mpls/lfib/Registration.h"

#include "mpls/lfib/LfibHwStatus.h"
#include "mpls/lfib/LfibStatus.h"
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
               LfibEvpnVlanAwareFloodVia, LfibDot1qTagToVlanComposite, RouteInfo>();
  registry.addEntity<LfibStatus, LfibHwStatus, LfibDot1qTagToVlan>();
}

}  // namespace Mpls
