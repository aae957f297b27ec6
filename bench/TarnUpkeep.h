/// What our tables hold in memory, and what happens to them now and then.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Bench {

/// Bytes for each row, after all were overwritten three times.
struct TarnMemory {
  double held = 0;   ///< segments and index, as the table's head says
  double peak = 0;   ///< the most of that while all rows were overwritten in one burst
  double files = 0;  ///< what the file system says
};
TarnMemory measureTarnMemory(std::size_t rowBytes, std::uint32_t rows);

/// Nanoseconds, for a table of rows of 48 bytes.
struct TarnUpkeep {
  double attach = 0;   ///< a new reader knows all rows
  double compare = 0;  ///< it compares the whole index, and nothing has changed
  double restart = 0;  ///< a new writer has changed its first row, after one that was killed
};
TarnUpkeep measureTarnUpkeep(std::uint32_t rows);

}  // namespace Bench
