/// An MPLS label.
#pragma once

#include <compare>
#include <cstdint>

#include "platform/netbase/Namespace.h"

namespace Netbase {

/// A label, or one of two special values above all labels: `none` and `luWithdraw`.
///
/// Numbers between `max` and `luWithdraw` are accepted too; a type that needs a real label compares
/// with `max` itself. Text: the decimal number.
class MplsLabel {
  FORMA_OPAQUE_VALUE(Netbase::MplsLabel)
 public:
  static constexpr std::uint32_t min = 0;
  /// The largest label that fits into the 20 bits of RFC 3032.
  static constexpr std::uint32_t max = 1048575;
  /// No label; the default.
  static constexpr std::uint32_t none = 1048576;
  /// Withdraws a label in labelled unicast, RFC 8277 section 2.4.
  static constexpr std::uint32_t luWithdraw = 8388608;

  constexpr MplsLabel() = default;
  /// Raises RangeException above luWithdraw.
  constexpr MplsLabel(std::uint32_t value) : value_(checked(value)) {}

  constexpr std::uint32_t value() const { return value_; }
  /// Raises RangeException above luWithdraw, and keeps the value.
  constexpr void valueIs(std::uint32_t value) { value_ = checked(value); }

  /// Whether bytes that were read from elsewhere make a label; see Forma::loadFlat.
  constexpr bool formaFlatOk() const { return value_ <= luWithdraw; }

  constexpr auto operator<=>(const MplsLabel&) const = default;
  constexpr std::uint64_t hash() const { return Forma::mix(value_, 0); }

 private:
  static constexpr std::uint32_t checked(std::uint32_t value) {
    if (value > luWithdraw) throwTooLarge();
    return value;
  }
  [[noreturn]] MPLS_EXPORT static void throwTooLarge();

  std::uint32_t value_ = none;
};

}  // namespace Netbase
