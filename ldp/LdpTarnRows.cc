#include "ldp/LdpTarnRows.h"

namespace Ldp::LdpTarn {

FORMA_DEFINE_VALUE(LdpLocalLbtKey)
FORMA_DEFINE_VALUE(LdpLocalLbt)
FORMA_DEFINE_VALUE(LdpLocalLbtAdvertisedToKey)
FORMA_DEFINE_VALUE(LdpLocalLbtAdvertisedTo)
FORMA_DEFINE_VALUE(LdpLocalLbtFilterState)
FORMA_DEFINE_VALUE(LdpPeerLbtKey)
FORMA_DEFINE_VALUE(LdpPeerLbt)
FORMA_DEFINE_VALUE(LdpPeerLbtFilterStateKey)
FORMA_DEFINE_VALUE(LdpPeerLbtFilterState)

}  // namespace Ldp::LdpTarn
