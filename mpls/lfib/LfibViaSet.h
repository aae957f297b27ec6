/// The row of one via set.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>

#include "mpls/lfib/LfibKeys.h"
#include "platform/forma/BoundedArray.h"

namespace Mpls {

/// The places of the via keys in a via set, 0 to 127.
FORMA_INDEX_RANGE(LfibViaIndexRange, 127)

/// The vias over which routes are spread, at most 128. Stored as far as they go: 14 bytes, and 12
/// for each via.
class LfibViaSet {
  FORMA_VALUE(Mpls::LfibViaSet, key, viaKey)
  FORMA_FIELD(LfibViaSetKey, key)
  /// All of the key's type; the rows that they name need not be there (yet, or any more).
  FORMA_ARRAY_FIELD(LfibViaKey, LfibViaIndexRange, viaKey)
 public:
  LfibViaSet() = default;
  explicit LfibViaSet(LfibViaSetKey key) : key_(key) {}
  /// Raises RangeException for more than 128.
  LfibViaSet(LfibViaSetKey key, std::span<const LfibViaKey> viaKeys) : key_(key) {
    viaKeyIs(viaKeys);
  }
  LfibViaSet(LfibViaSetKey key, std::initializer_list<LfibViaKey> viaKeys)
      : LfibViaSet(key, std::span(viaKeys.begin(), viaKeys.size())) {}
};

}  // namespace Mpls
