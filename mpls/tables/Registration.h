/// Makes the entity types of this folder known by name.
#pragma once

#include "platform/forma/TypeRegistry.h"

namespace Mpls {

/// Registers the label binding tables, the segment-routing tables and the tunnel interfaces, and
/// the value types that they hold.
MPLS_EXPORT void registerTableTypes(Forma::TypeRegistry& registry);

}  // namespace Mpls
