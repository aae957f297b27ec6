/// The index of a map: from a hash to the number of the slot that holds the key.
///
/// Open addressing in buckets of one cache line: seven cells, each a 32-bit hash and a slot number,
/// and a word with one byte of each hash. A lookup compares the seven bytes at once, so it takes
/// one line and hardly a branch that depends on chance; a slot is looked at when its hash is equal.
/// A bucket that is full overflows into the next one. Removal moves overflowed cells back, so there
/// are no tombstones. Knows no key type: all but the find loop is compiled once.
///
/// The word is an integer on purpose. Comparing whole hashes with vector instructions made a series
/// of overwrites or removals in a map of a million rows take more than twice as long (210 ns
/// instead of 95 ns each), as if each vector load waited for the store before it to find its
/// address.
///
/// Thread    as the map that it belongs to.
/// Limits    2^29 buckets with five cells in use on average.
/// Invariant a cell lies in its home bucket, or all buckets from there to it are full.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "platform/Export.h"

namespace Forma {

/// Says "no such slot". Slot numbers are below it.
inline constexpr std::uint32_t noSlot = 0xffffff00U;

class MPLS_EXPORT SlotIndex {
 public:
  /// Maps of up to this many slots are searched without an index.
  static constexpr std::uint32_t scanned = 16;

  /// Where find() ended: the slot, or noSlot, and the cell that names it.
  struct Place {
    std::uint32_t slot;
    std::uint32_t cell;
  };

  bool indexed() const { return buckets_ != nullptr; }

  /// The slot that has `hash` and for which `same(slot)` holds. Requires indexed().
  template <class Same>
  Place find(std::uint32_t hash, Same same) const {
    for (std::uint32_t at = home(hash);; at = (at + 1) & mask()) {
      const Bucket& bucket = buckets_[at];
      for (std::uint64_t found = bucket.matches(hash); found != 0; found &= found - 1) {
        const unsigned i = cellOf(found);
        if (bucket.hash[i] == hash && same(bucket.slot[i])) return {bucket.slot[i], at * 8 + i};
      }
      if (bucket.empty() != 0) return {noSlot, 0};
    }
  }

  /// Adds a slot. Requires indexed() and that fewer slots are in than room() says.
  void insert(std::uint32_t hash, std::uint32_t slot) {
    std::uint32_t at = home(hash);
    while (buckets_[at].empty() == 0) at = (at + 1) & mask();
    buckets_[at].put(cellOf(buckets_[at].empty()), hash, slot);
  }

  /// Removes the cell that find() gave.
  void erase(std::uint32_t cell) noexcept;

  /// How many slots may be in before grow() is due.
  std::uint32_t room() const { return indexed() ? roomOf(shift_) : scanned; }

  /// Makes room for `slots` slots; builds the table, empty, when there was none. Raises
  /// std::bad_alloc, and then nothing has changed.
  void grow(std::uint32_t slots);

  /// Gives the memory back.
  void release() noexcept;

  /// Size of the table in bytes.
  std::size_t indexBytes() const { return indexed() ? bytesOf(shift_) : 0; }

 private:
  static constexpr unsigned width = 7;  // cells of a bucket

  struct alignas(64) Bucket {
    // A byte for each cell, 0 when it is empty, otherwise 0x80 and seven bits of its hash. The
    // uppermost byte belongs to no cell.
    std::uint64_t tags;
    std::uint32_t hash[width];
    std::uint32_t slot[width];

    /// One bit, the highest of its byte, for each empty cell.
    std::uint64_t empty() const { return ~tags & highest; }
    /// Likewise for each cell that may have this hash: all that have, and few others.
    std::uint64_t matches(std::uint32_t wanted) const {
      const std::uint64_t unlike = tags ^ (tagOf(wanted) * lowest);
      return (unlike - lowest) & ~unlike & highest;
    }
    void put(unsigned i, std::uint32_t itsHash, std::uint32_t itsSlot) {
      tags |= tagOf(itsHash) << (8 * i);
      hash[i] = itsHash;
      slot[i] = itsSlot;
    }
    void clear(unsigned i) { tags &= ~(std::uint64_t{0xff} << (8 * i)); }
  };

  static constexpr std::uint64_t lowest = 0x0001010101010101U;
  static constexpr std::uint64_t highest = 0x0080808080808080U;
  static std::uint64_t tagOf(std::uint32_t hash) { return (hash & 0x7f) | 0x80; }
  static unsigned cellOf(std::uint64_t bits) {
    return static_cast<unsigned>(std::countr_zero(bits)) / 8;
  }

  static std::size_t bucketsOf(unsigned shift) { return std::size_t{1} << (32 - shift); }
  static std::size_t bytesOf(unsigned shift) { return bucketsOf(shift) * sizeof(Bucket); }
  static std::uint32_t roomOf(unsigned shift) {
    return static_cast<std::uint32_t>(bucketsOf(shift) * 5);
  }
  std::uint32_t home(std::uint32_t hash) const { return hash >> shift_; }
  std::uint32_t mask() const { return 0xffffffffU >> shift_; }

  Bucket* buckets_ = nullptr;
  std::uint8_t shift_ = 30;  // 32 less the binary logarithm of the number of buckets
};

}  // namespace Forma
