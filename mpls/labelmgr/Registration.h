/// Makes the types of this folder known by name.
#pragma once

#include "platform/Export.h"
#include "platform/forma/TypeRegistry.h"

namespace Mpls {

/// Registers what the label manager keeps of its clients, and the types that it holds. May be
/// called again.
MPLS_EXPORT void registerLabelManagerTypes(Forma::TypeRegistry& registry);

}  // namespace Mpls
