/// A contiguous block of labels.
#pragma once

#include <cstdint>

#include "mpls/types/Namespace.h"
#include "platform/netbase/MplsLabel.h"

namespace Mpls {

/// The labels base to base + size - 1, all of them real labels; none when `size` is 0.
///
/// A range that was never set has base 1048576 ("no label") and size 0. Only the default
/// constructor makes it: it prints and travels, but no setter and no parser accepts it.
///
/// Errors    RangeException from constructor, setters, parser and decoder when the base is no real
///           label or the range ends above the largest one; the value is then unchanged.
class LabelRange {
  FORMA_VALUE(Mpls::LabelRange, base, size)
  FORMA_FIELD(Netbase::MplsLabel, base, Netbase::MplsLabel::none)
  /// Number of labels; at most 1048576 - base.
  FORMA_FIELD(std::uint32_t, size, 0)
 public:
  constexpr LabelRange() = default;
  constexpr LabelRange(Netbase::MplsLabel base, std::uint32_t size) : base_(base), size_(size) {
    check();
  }

  constexpr void check() const {
    if (base_.value() > Netbase::MplsLabel::max)
      Forma::throwRangeException("LabelRange::base > Netbase::MplsLabel::max not allowed");
    if (size_ > Netbase::MplsLabel::max + 1 - base_.value())
      Forma::throwRangeException("LabelRange::size > Expr @Mpls:102 not allowed");
  }
};

}  // namespace Mpls
