/// The full name of every type that a value may have.
///
/// Thread    any.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "platform/forma/Enum.h"
#include "platform/forma/String8.h"

namespace Forma {

/// The full name under which a type is registered.
template <class T>
constexpr std::string_view typeName() {
  if constexpr (requires { T::formaTypeName; }) return T::formaTypeName;
  else if constexpr (Enum<T>) return formaEnumTypeName(T{});
  else if constexpr (std::same_as<T, bool>) return "bool";
  else if constexpr (std::same_as<T, double>) return "double";
  else if constexpr (std::same_as<T, Name>) return "Forma::Name";
  else if constexpr (std::same_as<T, String8>) return "Forma::String8";
  else if constexpr (std::integral<T>) {
    constexpr std::string_view names[] = {"U8", "U16", "U32", "U64", "S8", "S16", "S32", "S64"};
    constexpr std::size_t width = sizeof(T) == 1 ? 0 : sizeof(T) == 2 ? 1 : sizeof(T) == 4 ? 2 : 3;
    return names[width + (std::is_signed_v<T> ? 4 : 0)];
  } else {
    static_assert(!sizeof(T), "this type has no name: declare it with FORMA_VALUE");
  }
}

}  // namespace Forma
