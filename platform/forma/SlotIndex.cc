#include "platform/forma/SlotIndex.h"

#include <stdexcept>

#include "platform/forma/Memory.h"

namespace Forma {
namespace {

constexpr unsigned leastShift = 3;  // cell numbers are below 2^32

}  // namespace

void SlotIndex::erase(std::uint32_t cell) noexcept {
  std::uint32_t hole = cell / 8;  // the bucket that has lost a cell
  bool wasFull = buckets_[hole].empty() == 0;
  buckets_[hole].clear(cell % 8);
  for (std::uint32_t at = hole; wasFull;) {
    at = (at + 1) & mask();
    Bucket& bucket = buckets_[at];
    wasFull = bucket.empty() == 0;
    for (unsigned i = 0; i < width; ++i) {
      // A cell goes back to the hole if its home lies there or before.
      const std::uint32_t back = (at - home(bucket.hash[i])) & mask();
      if ((bucket.tags >> (8 * i) & 0xff) == 0 || back < ((at - hole) & mask())) continue;
      buckets_[hole].put(cellOf(buckets_[hole].empty()), bucket.hash[i], bucket.slot[i]);
      bucket.clear(i);
      hole = at;
      break;
    }
  }
}

void SlotIndex::grow(std::uint32_t slots) {
  unsigned shift = shift_;
  while (roomOf(shift) < slots) {
    if (shift == leastShift)
      throw std::length_error("Forma: a map holds at most 5 * 2^29 elements");
    --shift;
  }
  if (indexed() && shift == shift_) return;
  SlotIndex next;
  next.shift_ = static_cast<std::uint8_t>(shift);
  next.buckets_ = static_cast<Bucket*>(memoryNewZeroed(bytesOf(shift)));
  const Bucket* end = indexed() ? buckets_ + bucketsOf(shift_) : buckets_;
  for (const Bucket* bucket = buckets_; bucket != end; ++bucket)
    for (unsigned i = 0; i < width; ++i)
      if ((bucket->tags >> (8 * i) & 0xff) != 0) next.insert(bucket->hash[i], bucket->slot[i]);
  release();
  *this = next;
}

void SlotIndex::release() noexcept {
  if (indexed()) memoryDel(buckets_, bytesOf(shift_));
  *this = SlotIndex();
}

}  // namespace Forma
