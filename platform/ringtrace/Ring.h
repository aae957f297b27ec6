/// A ring of slots that any number of threads write and read at the same time, without locks.
///
/// The state word of a slot is its lock and its version:
///   1. A writer owns a slot from the exchange that makes the state odd until it stores the even
///      state of its message. An odd state refuses every other writer, so messages never mix.
///   2. The state of a slot only grows: a late writer does not replace a newer message.
///   3. A reader keeps a copy only when it found the same even state before and after it. A word of
///      another message would, by its release store and the reader's acquire load, show it the odd
///      state which preceded.
///
/// Thread    any, and signal handlers: nothing here waits, allocates or throws.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/ringtrace/Slot.h"

namespace RingTrace {

class Ring {
 public:
  /// `slots` stays the caller's and starts as zeros; `size` is a power of two.
  constexpr Ring(SlotWords* slots, std::size_t size) : slots_(slots), mask_(size - 1) {}

  std::size_t size() const { return mask_ + 1; }
  /// Puts a sealed message (state and checksum are set) into the slot of its sequence. False when
  /// another writer is in that slot or it holds a newer message.
  bool write(const SlotWords& message) const noexcept;
  /// Copies what the slot of `sequence` holds, which may be another message; false when it is empty
  /// or being written.
  bool read(std::uint64_t sequence, SlotWords& to) const noexcept;

 private:
  SlotWords& slotOf(std::uint64_t sequence) const { return slots_[sequence & mask_]; }

  SlotWords* slots_;
  std::uint64_t mask_;
};

}  // namespace RingTrace
