/// Makes the entity types of this folder known by name.
#pragma once

#include "platform/forma/TypeRegistry.h"

namespace Ldp {

/// Registers the LDP entities, and the value types that they hold.
MPLS_EXPORT void registerEntityTypes(Forma::TypeRegistry& registry);

}  // namespace Ldp
