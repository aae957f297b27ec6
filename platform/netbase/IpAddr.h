/// An IPv4 address.
#pragma once

#include <array>
#include <bit>
#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/netbase/ByteOrder.h"
#include "platform/netbase/Namespace.h"

namespace Netbase {

/// An IPv4 address; 0.0.0.0 by default, ordered numerically.
///
/// Text: exactly four decimal numbers of 0 to 255 without leading zeros, joined by dots. The parser
/// takes all of the digits, letters a to f, colons and dots that follow, and raises RangeException
/// `Invalid IP address "..."` when they are not an address. Wire: four bytes, network order.
class IpAddr {
  FORMA_OPAQUE_VALUE(Netbase::IpAddr)
 public:
  /// In network order.
  using Bytes = std::array<std::uint8_t, 4>;

  constexpr IpAddr() = default;
  /// From the number in host byte order: 0x0a000001 is 10.0.0.1.
  explicit constexpr IpAddr(std::uint32_t value) : value_(value) {}
  explicit constexpr IpAddr(const Bytes& bytes)
      : value_(netOrder(std::bit_cast<std::uint32_t>(bytes))) {}
  /// From the whole text; raises RangeException.
  MPLS_EXPORT explicit IpAddr(std::string_view text);
  /// From the whole text, or nothing when it is not an address.
  MPLS_EXPORT static std::optional<IpAddr> fromText(std::string_view text);

  /// The number in host byte order.
  constexpr std::uint32_t value() const { return value_; }
  constexpr void valueIs(std::uint32_t value) { value_ = value; }
  constexpr Bytes bytes() const { return std::bit_cast<Bytes>(netOrder(value_)); }

  Forma::String8 stringValue() const { return Forma::valueToStrep(*this); }

  constexpr auto operator<=>(const IpAddr&) const = default;
  constexpr std::uint64_t hash() const { return Forma::mix(value_, 0); }

 private:
  std::uint32_t value_ = 0;
};

}  // namespace Netbase
