#include "ldp/LdpLinkReadyStatus.h"

namespace Ldp {

FORMA_DEFINE_ENTITY(LdpLinkReadyStatus)
FORMA_DEFINE_ENTITY(LdpLinkReadyStatusColl)
FORMA_DEFINE_ENTITY(LdpLinkReadyStatusVrfColl)

LdpLinkReadyStatus::~LdpLinkReadyStatus() = default;
LdpLinkReadyStatusColl::~LdpLinkReadyStatusColl() = default;
LdpLinkReadyStatusVrfColl::~LdpLinkReadyStatusVrfColl() = default;

}  // namespace Ldp
