#include "platform/kiln/NumAllocatorStatus.h"

namespace Kiln {

FORMA_DEFINE_ENTITY(NumAllocatorStatus)

NumAllocatorStatus::~NumAllocatorStatus() = default;

}  // namespace Kiln
