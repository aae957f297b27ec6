#include "platform/ringtrace/Ring.h"

#include <atomic>

namespace RingTrace {
namespace {

using Word = std::atomic_ref<std::uint64_t>;
// Anything else would take a lock in a signal handler, or in memory that other processes map.
static_assert(Word::is_always_lock_free);

}  // namespace

bool Ring::write(const SlotWords& message) const noexcept {
  const std::uint64_t sequence = sequenceOf(message);
  SlotWords& slot = slotOf(sequence);
  const Word state(slot[stateAt]);
  std::uint64_t found = state.load(std::memory_order_relaxed);
  if (found % 2 != 0 || found > stateWriting(sequence)) return false;
  // acquire: pairs with the store at the end of the slot's last writer, whose words come before
  // ours
  if (!state.compare_exchange_strong(found, stateWriting(sequence), std::memory_order_acquire))
    return false;
  const std::size_t end = wordsOf(message);
  for (std::size_t i = stateAt + 1; i < end; ++i) {
    // release: pairs with the acquire in read(), rule 3
    Word(slot[i]).store(message[i], std::memory_order_release);
  }
  // seq_cst: before the caller looks whether the process has gone over to another ring
  state.store(message[stateAt], std::memory_order_seq_cst);
  return true;
}

bool Ring::read(std::uint64_t sequence, SlotWords& to) const noexcept {
  SlotWords& slot = slotOf(sequence);
  const Word state(slot[stateAt]);
  // seq_cst: after the reader has made the process go over to another ring
  to[stateAt] = state.load(std::memory_order_seq_cst);
  if (!isWhole(to[stateAt])) return false;
  for (std::size_t i = stateAt + 1; i < to.size(); ++i) {
    // acquire: pairs with the release in write(), rule 3
    to[i] = Word(slot[i]).load(std::memory_order_acquire);
  }
  return state.load(std::memory_order_relaxed) == to[stateAt];
}

}  // namespace RingTrace
