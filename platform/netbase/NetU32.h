/// A 32-bit number kept in network byte order.
#pragma once

#include <compare>
#include <cstdint>

#include "platform/netbase/ByteOrder.h"
#include "platform/netbase/Namespace.h"

namespace Netbase {

/// A 32-bit number as packets hold it; ordered, hashed and printed (in decimal) as the number that
/// it stands for. Wire: big-endian.
class NetU32 {
  FORMA_OPAQUE_VALUE(Netbase::NetU32)
 public:
  constexpr NetU32() = default;
  /// From the number in host byte order.
  constexpr NetU32(std::uint32_t value) : netValue_(netOrder(value)) {}

  /// In host byte order.
  constexpr std::uint32_t value() const { return netOrder(netValue_); }
  constexpr void valueIs(std::uint32_t value) { netValue_ = netOrder(value); }
  /// As it is kept, in network byte order.
  constexpr std::uint32_t netValue() const { return netValue_; }
  constexpr void netValueIs(std::uint32_t netValue) { netValue_ = netValue; }

  constexpr bool operator==(const NetU32&) const = default;
  constexpr auto operator<=>(const NetU32& o) const { return value() <=> o.value(); }
  constexpr std::uint64_t hash() const { return Forma::mix(value(), 0); }

 private:
  std::uint32_t netValue_ = 0;
};

}  // namespace Netbase
