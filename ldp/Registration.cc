#include "ldp/Registration.h"

#include "ldp/LabelBindingTable.h"
#include "ldp/LdpIdentifierSet.h"
#include "ldp/LdpLabelBindingTable.h"
#include "ldp/LdpLinkReadyStatus.h"
#include "mpls/types/Registration.h"

namespace Ldp {

void registerEntityTypes(Forma::TypeRegistry& registry) {
  using namespace LdpTarn;
  Mpls::registerTypes(registry);
  registry.add<LdpLabelSource>();
  registry.add<LdpLocalLbtKey, LdpLocalLbt, LdpLocalLbtAdvertisedToKey, LdpLocalLbtAdvertisedTo,
               LdpLocalLbtFilterState, LdpPeerLbtKey, LdpPeerLbt, LdpPeerLbtFilterStateKey,
               LdpPeerLbtFilterState>();
  registry.addEntity<LdpIdentifierSet, LdpIdIntfIpMappingTable, LdpLinkReadyStatus,
                     LdpLinkReadyStatusColl, LdpLinkReadyStatusVrfColl, MplsLabelSet,
                     LabelBindingTable, LabelBindingTableColl, LdpLabelBindingTable>();
}

}  // namespace Ldp
