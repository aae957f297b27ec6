/// A 16-bit number kept in network byte order.
#pragma once

#include <compare>
#include <cstdint>

#include "platform/netbase/ByteOrder.h"
#include "platform/netbase/Namespace.h"

namespace Netbase {

/// A 16-bit number as packets hold it; ordered, hashed and printed (in decimal) as the number that
/// it stands for. Wire: big-endian.
class NetU16 {
  FORMA_OPAQUE_VALUE(Netbase::NetU16)
 public:
  constexpr NetU16() = default;
  /// From the number in host byte order.
  constexpr NetU16(std::uint16_t value) : netValue_(netOrder(value)) {}

  /// In host byte order.
  constexpr std::uint16_t value() const { return netOrder(netValue_); }
  constexpr void valueIs(std::uint16_t value) { netValue_ = netOrder(value); }
  /// As it is kept, in network byte order.
  constexpr std::uint16_t netValue() const { return netValue_; }
  constexpr void netValueIs(std::uint16_t netValue) { netValue_ = netValue; }

  constexpr bool operator==(const NetU16&) const = default;
  constexpr auto operator<=>(const NetU16& o) const { return value() <=> o.value(); }
  constexpr std::uint64_t hash() const { return Forma::mix(value(), 0); }

 private:
  std::uint16_t netValue_ = 0;
};

}  // namespace Netbase
