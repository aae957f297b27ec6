/// What processes that share entities must agree on: the members of a type, in order, down to the
/// fields of the values that they hold, and the initial values of attributes.
///
/// Thread    any, once the registry is filled.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/forma/TypeRegistry.h"

namespace Forma {

/// The description of an entity type and of all that it is made of, one type a line.
MPLS_EXPORT std::string schemaText(const EntityType& type, const TypeRegistry& registry);

/// The hash of such a text: 64-bit FNV-1a.
MPLS_EXPORT std::uint64_t schemaTextHash(std::string_view text);

/// The hash of schemaText(): equal in every process whose declarations are.
MPLS_EXPORT std::uint64_t schemaHash(const EntityType& type, const TypeRegistry& registry);

/// The hash in the form in which people read it: 16 hexadecimal digits.
MPLS_EXPORT std::string schemaHashText(std::uint64_t hash);

}  // namespace Forma
