/// Makes the types of this folder known by name.
#pragma once

#include "platform/Export.h"
#include "platform/forma/TypeRegistry.h"

namespace Netbase {

/// Registers every value type and enumeration of Netbase, and L3::VrfName. May be called again.
MPLS_EXPORT void registerTypes(Forma::TypeRegistry& registry);

}  // namespace Netbase
