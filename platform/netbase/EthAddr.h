/// An Ethernet (MAC) address.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/netbase/Namespace.h"

namespace Netbase {

/// Six bytes; all zero by default, ordered by bytes.
///
/// Text: six times two hexadecimal digits joined by colons, printed in lower case and read in
/// either. Bad text raises RangeException `Invalid Ethernet address "..."`. Wire: the six bytes.
class EthAddr {
  FORMA_OPAQUE_VALUE(Netbase::EthAddr)
 public:
  using Bytes = std::array<std::uint8_t, 6>;

  constexpr EthAddr() = default;
  explicit constexpr EthAddr(const Bytes& bytes) : bytes_(bytes) {}
  /// From the whole text; raises RangeException.
  MPLS_EXPORT explicit EthAddr(std::string_view text);
  /// From the whole text, or nothing when it is not an address.
  MPLS_EXPORT static std::optional<EthAddr> fromText(std::string_view text);

  constexpr const Bytes& bytes() const { return bytes_; }
  constexpr void bytesIs(const Bytes& bytes) { bytes_ = bytes; }
  /// The six bytes as one number, the first being the most significant.
  constexpr std::uint64_t value() const {
    std::uint64_t number = 0;
    for (const std::uint8_t byte : bytes_) number = number << 8 | byte;
    return number;
  }

  Forma::String8 stringValue() const { return Forma::valueToStrep(*this); }

  constexpr bool operator==(const EthAddr&) const = default;
  constexpr auto operator<=>(const EthAddr& o) const { return value() <=> o.value(); }
  constexpr std::uint64_t hash() const { return Forma::mix(value(), 0); }

 private:
  Bytes bytes_{};
};

}  // namespace Netbase
