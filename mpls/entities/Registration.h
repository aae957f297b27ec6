/// Makes the entity types of this folder known by name.
#pragma once

#include "platform/forma/TypeRegistry.h"

namespace Mpls {

/// Registers the configuration and status entities, and the types that they hold.
MPLS_EXPORT void registerEntityTypes(Forma::TypeRegistry& registry);

}  // namespace Mpls
