/// An IPv6 address.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/netbase/ByteOrder.h"
#include "platform/netbase/Namespace.h"

namespace Netbase {

/// An IPv6 address; `::` by default, ordered numerically. Aligned to one byte.
///
/// Printed as RFC 5952 has it: lower case, no leading zeros, the first of the longest runs of two
/// or more zero groups as "::", and IPv4-mapped addresses with an IPv4 address at their end. Every
/// text of RFC 4291 section 2.2 is read, without a zone; bad text raises RangeException
/// `Invalid IP address "..."`. Wire: the sixteen bytes.
class Ip6Addr {
  FORMA_OPAQUE_VALUE(Netbase::Ip6Addr)
 public:
  /// In network order.
  using Bytes = std::array<std::uint8_t, 16>;

  constexpr Ip6Addr() = default;
  explicit constexpr Ip6Addr(const Bytes& bytes) : bytes_(bytes) {}
  /// From the whole text; raises RangeException.
  MPLS_EXPORT explicit Ip6Addr(std::string_view text);
  /// From the whole text, or nothing when it is not an address.
  MPLS_EXPORT static std::optional<Ip6Addr> fromText(std::string_view text);

  constexpr const Bytes& bytes() const { return bytes_; }
  constexpr void bytesIs(const Bytes& bytes) { bytes_ = bytes; }

  Forma::String8 stringValue() const { return Forma::valueToStrep(*this); }

  constexpr bool operator==(const Ip6Addr& o) const { return words(bytes_) == words(o.bytes_); }
  constexpr std::strong_ordering operator<=>(const Ip6Addr& o) const {
    return words(bytes_) <=> words(o.bytes_);
  }
  constexpr std::uint64_t hash() const {
    const Words w = words(bytes_);
    return Forma::mix(Forma::mix(w.high, 0), w.low);
  }

 private:
  Bytes bytes_{};
};

}  // namespace Netbase
