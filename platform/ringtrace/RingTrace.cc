#include "platform/ringtrace/RingTrace.h"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>

#include "platform/ringtrace/Abort.h"
#include "platform/ringtrace/OwnRing.h"
#include "platform/ringtrace/RingFile.h"
#include "platform/ringtrace/Stamp.h"

namespace RingTrace {
namespace {

// Untouched pages of it take no memory.
constexpr std::size_t privateSize = 1024;
alignas(slotSize) constinit std::array<SlotWords, privateSize> privateSlots{};
constinit const Ring privateRing(privateSlots.data(), privateSize);

/// Guards `file` and the going over to another ring.
constinit std::mutex fileMutex;
/// The newest file of this process. Never deleted, since other threads may be writing in it.
constinit RingFile* file = nullptr;

void beforeFork() { fileMutex.lock(); }

void inParentAfterFork() { fileMutex.unlock(); }

void inChildAfterFork() {
  ownRing.ring.store(&privateRing, std::memory_order_seq_cst);
  // Else the file would stay locked until the last child ends.
  for (RingFile* one = file; one != nullptr; one = one->former.get()) one->unlock();
  forgetThreadNumber();
  forgetPrint();
  fileMutex.unlock();
}

// Not on first use: that may be in a signal handler.
[[maybe_unused]] const int watchesForks =
    pthread_atfork(beforeFork, inParentAfterFork, inChildAfterFork);

/// Slots of `to` that hold a newer message refuse.
void copyMessages(const Ring& from, const Ring& to) {
  SlotWords slot;
  for (std::size_t i = 0; i < from.size(); ++i) {
    if (from.read(i, slot)) to.write(slot);
  }
}

}  // namespace

constinit OwnRing ownRing{&privateRing, 0};

std::vector<Message> messages() {
  std::vector<Message> found;
  const Ring& ring = *ownRing.ring.load(std::memory_order_acquire);
  SlotWords slot;
  for (std::size_t i = 0; i < ring.size(); ++i) {
    if (!ring.read(i, slot)) continue;
    if (auto message = messageOf(slot)) found.push_back(*std::move(message));
  }
  std::ranges::sort(found, {}, &Message::sequence);
  return found;
}

void fileIs(const std::string& path, std::size_t slots) {
  const std::lock_guard lock(fileMutex);
  auto next = RingFile::create(path, slots);
  const Ring& from = *ownRing.ring.load(std::memory_order_relaxed);
  // seq_cst: pairs with the load at the end of Draft::commit()
  ownRing.ring.store(&next->ring(), std::memory_order_seq_cst);
  copyMessages(from, next->ring());
  if (file != nullptr) file->unlock();
  next->former.reset(file);
  file = next.release();
}

}  // namespace RingTrace
