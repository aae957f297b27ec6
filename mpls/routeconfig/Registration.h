/// Makes the types of this folder known by name.
#pragma once

#include "platform/Export.h"
#include "platform/forma/TypeRegistry.h"

namespace Mpls {

/// Registers the copy handler of route configuration, its directory, and the types that they
/// handle. May be called again.
MPLS_EXPORT void registerRouteConfigTypes(Forma::TypeRegistry& registry);

}  // namespace Mpls
