/// Numbers in network byte order, and sixteen bytes as two numbers.
///
/// Thread    any.
/// Cost      a few instructions; nothing here calls or allocates.
#pragma once

#include <array>
#include <bit>
#include <compare>
#include <concepts>
#include <cstdint>

namespace Netbase {

/// The number with its bytes in reverse order.
template <std::unsigned_integral N>
constexpr N swapped(N v) {
  static_assert(sizeof(N) == 2 || sizeof(N) == 4 || sizeof(N) == 8);
  if constexpr (sizeof(N) == 2) return __builtin_bswap16(v);
  else if constexpr (sizeof(N) == 4) return __builtin_bswap32(v);
  else return __builtin_bswap64(v);
}

/// Turns a number from host to network byte order, or back: the two are the same operation.
template <std::unsigned_integral N>
constexpr N netOrder(N v) {
  return std::endian::native == std::endian::big ? v : swapped(v);
}

/// Sixteen bytes as two numbers, the first byte being the most significant: they are ordered as
/// the bytes are.
struct Words {
  std::uint64_t high;
  std::uint64_t low;
  constexpr auto operator<=>(const Words&) const = default;
};

template <class Byte>
requires(sizeof(Byte) == 1) constexpr Words words(const std::array<Byte, 16>& bytes) {
  const auto raw = std::bit_cast<std::array<std::uint64_t, 2>>(bytes);
  return {netOrder(raw[0]), netOrder(raw[1])};
}

}  // namespace Netbase
