/// A VLAN identifier.
#pragma once

#include <compare>
#include <cstdint>

#include "platform/netbase/Namespace.h"

namespace Netbase {

/// A VLAN identifier of IEEE 802.1Q, 1 to 4094; 0, the default, means none. Text: the decimal
/// number.
class VlanId {
  FORMA_OPAQUE_VALUE(Netbase::VlanId)
 public:
  static constexpr std::uint16_t none = 0;
  static constexpr std::uint16_t max = 4094;

  constexpr VlanId() = default;
  /// Raises RangeException above max.
  constexpr VlanId(std::uint32_t value) : value_(checked(value)) {}

  constexpr std::uint16_t value() const { return value_; }
  /// Raises RangeException above max, and keeps the value.
  constexpr void valueIs(std::uint32_t value) { value_ = checked(value); }

  /// Whether bytes that were read from elsewhere make an identifier; see Forma::loadFlat.
  constexpr bool formaFlatOk() const { return value_ <= max; }

  constexpr auto operator<=>(const VlanId&) const = default;
  constexpr std::uint64_t hash() const { return Forma::mix(value_, 0); }

 private:
  static constexpr std::uint16_t checked(std::uint32_t value) {
    if (value > max) throwTooLarge();
    return static_cast<std::uint16_t>(value);
  }
  [[noreturn]] MPLS_EXPORT static void throwTooLarge();

  std::uint16_t value_ = none;
};

}  // namespace Netbase
