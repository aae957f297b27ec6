#include "platform/kiln/Registration.h"

#include "platform/kiln/NumAllocatorConfig.h"
#include "platform/kiln/NumAllocatorStatus.h"

namespace Kiln {

void registerTypes(Forma::TypeRegistry& registry) {
  registry.add<Range>();
  registry.addEntity<NumAllocatorConfig, NumAllocatorStatus>();
}

}  // namespace Kiln
