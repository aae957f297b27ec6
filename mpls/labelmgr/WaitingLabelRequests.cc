#include "mpls/labelmgr/WaitingLabelRequests.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(ClientWaitingRequests)
FORMA_DEFINE_ENTITY(WaitingLabelRequests)

ClientWaitingRequests::~ClientWaitingRequests() = default;
WaitingLabelRequests::~WaitingLabelRequests() = default;

}  // namespace Mpls
