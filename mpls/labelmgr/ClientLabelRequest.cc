#include "mpls/labelmgr/ClientLabelRequest.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(ClientLabelRequest)

ClientLabelRequest::~ClientLabelRequest() = default;

}  // namespace Mpls
