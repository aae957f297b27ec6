/// The one-bit flag set of LFIB vias.
#pragma once

#include <cstdint>

#include "mpls/types/Namespace.h"

namespace Mpls {

class LfibFlag {
  FORMA_VALUE(Mpls::LfibFlag, set)
  /// Bit 0.
  FORMA_FIELD(bool, set, false)
 public:
  constexpr LfibFlag() = default;
  /// From the raw bits; RangeException when there are others than bit 0.
  explicit constexpr LfibFlag(std::uint32_t raw) : set_((checkRaw(raw) & 1) != 0) {}

  /// The raw bits.
  constexpr std::uint8_t value() const { return set_ ? 1 : 0; }
  void valueIs(std::uint32_t raw) { *this = LfibFlag(raw); }

 private:
  static constexpr std::uint32_t checkRaw(std::uint32_t raw) {
    if (raw > 0x1) Forma::throwRangeException("LfibFlag::value > 0x1 not allowed");
    return raw;
  }
};

}  // namespace Mpls
