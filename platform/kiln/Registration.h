/// Makes the types of this folder known by name.
#pragma once

#include "platform/Export.h"
#include "platform/forma/TypeRegistry.h"

namespace Kiln {

/// Registers the range and the entities of the number allocator. May be called again.
MPLS_EXPORT void registerTypes(Forma::TypeRegistry& registry);

}  // namespace Kiln
