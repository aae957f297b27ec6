/// A contiguous range of numbers.
#pragma once

#include <cstdint>

#include "platform/forma/Value.h"

namespace Kiln {

FORMA_TEXT_FUNCTIONS

/// The numbers first to last, both included. Every range whose first number is above its last is
/// empty; so is a default one.
class Range {
  FORMA_VALUE(Kiln::Range, first, last)
  FORMA_FIELD(std::uint32_t, first, 1)
  FORMA_FIELD(std::uint32_t, last, 0)
 public:
  constexpr Range() = default;
  constexpr Range(std::uint32_t first, std::uint32_t last) : first_(first), last_(last) {}

  constexpr bool empty() const { return first_ > last_; }
  constexpr bool contains(std::uint32_t number) const {
    return first_ <= number && number <= last_;
  }
};

}  // namespace Kiln
