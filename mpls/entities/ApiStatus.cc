#include "mpls/entities/ApiStatus.h"

namespace Mpls::Api {

FORMA_DEFINE_ENTITY(Status)

Status::~Status() = default;

}  // namespace Mpls::Api
