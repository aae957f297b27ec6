/// What the head of a table tells to somebody who knows nothing of its rows.
///
/// Thread    any.
/// Trust     none: any bytes are read without harm, also while a writer changes them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace MplsCtl {

struct TableHead {
  enum class State {
    good,
    foreign,  ///< of another layout: nothing but that is known
    damaged   ///< cut short, or no head of that table
  };
  State state = State::good;
  std::string problem;  ///< empty when it is good

  std::uint64_t schemaHash = 0;
  std::uint64_t generation = 0;
  std::uint32_t keyBytes = 0;
  std::uint32_t rowBytes = 0;  ///< 0: rows vary in size
  std::uint32_t maxRowBytes = 0;
  std::uint64_t rows = 0;
  std::uint64_t liveBytes = 0;     ///< of rows, with what stands before each
  std::uint64_t segmentBytes = 0;  ///< of the files that hold rows
  std::uint64_t indexBytes = 0;    ///< of the files that hold the index
  std::uint64_t changes = 0;       ///< grows with each change of a row
  std::uint64_t epoch = 0;         ///< how many writers it has had
  std::uint64_t writerPid = 0;     ///< 0: the last one ended in order
  std::uint64_t writerSince = 0;   ///< CLOCK_BOOTTIME in nanoseconds
  std::uint64_t writerSeen = 0;    ///< the same
};

/// Reads the first bytes of the head of the table `name`.
TableHead tableHeadOf(std::string_view bytes, std::string_view name);

}  // namespace MplsCtl
