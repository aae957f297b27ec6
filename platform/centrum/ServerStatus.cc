#include "platform/centrum/ServerStatus.h"

namespace Centrum {

FORMA_DEFINE_VALUE(PathStatus)
FORMA_DEFINE_VALUE(ClientStatus)
FORMA_DEFINE_ENTITY(Status)

Status::~Status() = default;

}  // namespace Centrum
