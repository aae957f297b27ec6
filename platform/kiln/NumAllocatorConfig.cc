#include "platform/kiln/NumAllocatorConfig.h"

namespace Kiln {

FORMA_DEFINE_ENTITY(NumAllocatorConfig)

NumAllocatorConfig::~NumAllocatorConfig() = default;

}  // namespace Kiln
