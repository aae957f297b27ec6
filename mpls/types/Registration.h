/// Makes the MPLS value types known by name.
#pragma once

#include "platform/Export.h"
#include "platform/forma/TypeRegistry.h"

namespace Mpls {

/// Registers the value types and enumerations of Mpls and its inner namespaces, the LDP identifier,
/// and the networking types that they are made of. May be called again.
MPLS_EXPORT void registerTypes(Forma::TypeRegistry& registry);

}  // namespace Mpls
