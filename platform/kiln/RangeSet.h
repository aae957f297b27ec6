/// A set of numbers, kept as the ranges that they make up.
#pragma once

#include <cstdint>
#include <map>

#include "platform/Export.h"
#include "platform/kiln/Range.h"

namespace Kiln {

/// A set of 32-bit numbers that costs what the gaps in it cost, however many numbers it holds.
///
/// Thread    one.
/// Cost      O(log ranges) a call; keepOnly() that for each range that it drops. 48 bytes a range.
class MPLS_EXPORT RangeSet {
 public:
  bool empty() const { return ranges_.empty(); }
  /// The least number; the set must not be empty.
  std::uint32_t first() const { return ranges_.begin()->first; }

  /// Adds all numbers of `range`, none of which may be in the set.
  void add(const Range& range);
  /// Removes a number, which must be in the set.
  void remove(std::uint32_t number);
  /// Removes what is not in `range`.
  void keepOnly(const Range& range);

 private:
  std::map<std::uint32_t, std::uint32_t> ranges_;  // last by first; there is a gap between any two
};

}  // namespace Kiln
