/// Memory for the cells of one path: blocks that are called by a 32-bit number, in chunks that
/// grow with the path, large ones in huge pages. Finding a cell at random among a million costs
/// mostly cache and TLB misses; so there are few of them, and one less for each lookup.
///
/// Thread    that of the database.
/// Memory    goes back when the pool does; blocks of the same size are used again.
/// Errors    std::bad_alloc; std::length_error at 64 GiB.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Centrum {

class CellPool {
 public:
  /// Blocks are at most this large, and multiples of `unit`, to which they are aligned.
  static constexpr std::size_t largest = 1024;
  static constexpr std::size_t unit = 16;

  struct Block {
    void* memory;
    std::uint32_t number;
  };

  CellPool();
  ~CellPool();
  CellPool(const CellPool&) = delete;
  CellPool& operator=(const CellPool&) = delete;

  Block take(std::size_t bytes);
  void give(std::uint32_t number, std::size_t bytes) noexcept;
  void* at(std::uint32_t number) const {
    return chunks_[number >> unitBits] + (number & unitMask) * unit;
  }

 private:
  static constexpr unsigned unitBits = 21;
  static constexpr std::uint32_t unitMask = (1U << unitBits) - 1;

  void addChunk();

  std::vector<char*> chunks_;
  std::uint32_t next_ = 0;  // the rest of the last chunk
  std::uint32_t end_ = 0;
  std::array<std::uint32_t, largest / unit + 1> free_;  // by units: the first of a list
};

}  // namespace Centrum
