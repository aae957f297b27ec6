/// Makes the types of this folder known by name.
#pragma once

#include "platform/Export.h"
#include "platform/forma/TypeRegistry.h"

namespace Centrum {

/// Registers the types that the central database itself is made of: directories, the status of the
/// server, and what stands for entries of unknown types. May be called again.
MPLS_EXPORT void registerTypes(Forma::TypeRegistry& registry);

}  // namespace Centrum
