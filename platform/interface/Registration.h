/// Makes the types of this folder known by name.
#pragma once

#include "platform/Export.h"
#include "platform/forma/TypeRegistry.h"

namespace Interface {

/// Registers the enumerations of interface status, and the value types that it holds. (The entities
/// are bases, which nobody makes.) May be called again.
MPLS_EXPORT void registerTypes(Forma::TypeRegistry& registry);

}  // namespace Interface
