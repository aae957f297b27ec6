/// Makes the types of this folder known by name.
#pragma once

#include "platform/Export.h"
#include "platform/forma/TypeRegistry.h"

namespace Mpls {

/// Registers the keys, the rows and the entities of the LFIB, and the types that they hold. May be
/// called again.
MPLS_EXPORT void registerLfibTypes(Forma::TypeRegistry& registry);

}  // namespace Mpls
