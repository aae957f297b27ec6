#include "bench/Tables.h"

#include <algorithm>

namespace Bench {

std::vector<RowKey> tableKeys(std::uint32_t count, unsigned seed, std::uint32_t away) {
  std::vector<RowKey> keys(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint64_t label = 16 + i;
    keys[i] = label | (10 + ((label + away) & 3)) << 32;
  }
  std::shuffle(keys.begin(), keys.end(), std::mt19937(seed));
  return keys;
}

}  // namespace Bench
