/// The in-process hash: one mixer and one function from a value to its hash.
///
/// Thread    any.
/// Stability none: the result may differ in any release. Hashes that leave the process (a table in
///           shared memory, a hash that users know by its formula) are functions of their own.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "platform/Export.h"

namespace Forma {

/// 64 x 64 bits multiplied and folded: every bit of both inputs reaches every bit of the result,
/// at the cost of one multiplication.
constexpr std::uint64_t mix(std::uint64_t a, std::uint64_t b) {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a ^ 0x9e3779b97f4a7c15U) * (b ^ 0xd6e8feb86659fd93U);
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

/// The hash of a run of bytes; 8 bytes a step.
MPLS_EXPORT std::uint64_t hashBytes(const void* data, std::size_t size);

/// A value type as FORMA_VALUE declares it: it can visit its fields.
template <class T>
concept VisitsMembers = requires {
  T::formaMemberNames;
};

/// Mixes one more value into `h`. Fields of a declared value type are mixed in declaration order.
template <class T>
constexpr std::uint64_t hashInto(std::uint64_t h, const T& v) {
  if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
    return mix(h, static_cast<std::uint64_t>(v));
  } else if constexpr (std::same_as<T, double>) {
    return mix(h, v == 0 ? 0 : std::bit_cast<std::uint64_t>(v));  // 0.0 equals -0.0
  } else if constexpr (VisitsMembers<T>) {
    T::formaEachMember([&](const auto&, auto at) { h = hashInto(h, v.*at); });
    return h;
  } else {
    return mix(h, v.hash());
  }
}

/// The hash of any value: numbers, enumerations, declared value types, and types with a `hash()`
/// of their own (strings, addresses). Equal values hash equal.
template <class T>
constexpr std::uint64_t hashOf(const T& v) {
  if constexpr (std::is_arithmetic_v<T> || std::is_enum_v<T> || VisitsMembers<T>) {
    return hashInto(0, v);
  } else {
    return v.hash();
  }
}

}  // namespace Forma
