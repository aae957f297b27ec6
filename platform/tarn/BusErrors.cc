#include "platform/tarn/BusErrors.h"

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/tarn/DirectoryStorage.h"

namespace Tarn {

/// Slots, in chunks that are appended and never freed.
struct MappedRange::Chunk {
  std::atomic<unsigned> used{0};  // slots that are taken, or about to be
  std::atomic<Chunk*> next{nullptr};
  std::array<MappedRange, 128> slots;

  /// Whether a slot is free, and stays so until the caller has claimed one.
  bool reserve() {
    if (used.fetch_add(1, std::memory_order_acq_rel) < slots.size()) return true;
    used.fetch_sub(1, std::memory_order_acq_rel);
    return false;
  }
  Chunk& following() {
    Chunk* there = next.load(std::memory_order_acquire);
    if (there != nullptr) return *there;
    auto* made = new Chunk;
    // release: pairs with the acquire of who walks the chunks, the handler among them
    if (next.compare_exchange_strong(there, made, std::memory_order_acq_rel)) return *made;
    delete made;
    return *there;
  }
};
constinit MappedRange::Chunk MappedRange::first;

/// Takes the slot if it is free; turn_ is odd then.
bool MappedRange::claim() {
  std::uint64_t turn = turn_.load(std::memory_order_acquire);
  return turn % 2 == 0 && begin_.load(std::memory_order_acquire) == 0 &&
         turn_.compare_exchange_strong(turn, turn + 1, std::memory_order_acq_rel);
}

MappedRange& MappedRange::enter(std::byte* begin, std::size_t size, int protection, pid_t owner) {
  Chunk* chunk = &first;
  while (!chunk->reserve()) chunk = &chunk->following();
  std::size_t i = 0;
  while (!chunk->slots[i].claim()) i = (i + 1) % chunk->slots.size();
  MappedRange& slot = chunk->slots[i];
  slot.chunk_ = chunk;
  // release: whoever reads one of the values sees that turn_ is odd
  slot.begin_.store(reinterpret_cast<std::uintptr_t>(begin), std::memory_order_release);
  slot.size_.store(size, std::memory_order_release);
  slot.protection_.store(protection, std::memory_order_release);
  slot.owner_.store(owner, std::memory_order_release);
  slot.damaged_.store(false, std::memory_order_release);
  slot.turn_.fetch_add(1, std::memory_order_release);
  return slot;
}

void MappedRange::leave() {
  turn_.fetch_add(1, std::memory_order_acq_rel);
  begin_.store(0, std::memory_order_release);
  Chunk* const chunk = chunk_;
  turn_.fetch_add(1, std::memory_order_release);
  chunk->used.fetch_sub(1, std::memory_order_acq_rel);
}

bool MappedRange::zeroIfAround(std::uintptr_t address) {
  const std::uint64_t turn = turn_.load(std::memory_order_acquire);
  const std::uintptr_t begin = begin_.load(std::memory_order_acquire);
  const std::size_t size = size_.load(std::memory_order_acquire);
  const int protection = protection_.load(std::memory_order_acquire);
  const pid_t owner = owner_.load(std::memory_order_acquire);
  if (turn % 2 != 0 || turn_.load(std::memory_order_relaxed) != turn) return false;
  if (begin == 0 || address - begin >= size || (owner != 0 && owner != ::getpid())) return false;
  // Damage is known before the first zero can be read, by whatever thread.
  damaged_.store(true, std::memory_order_release);
  return ::mmap(reinterpret_cast<void*>(begin), size, protection,
                MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED;
}

bool MappedRange::zeroAround(std::uintptr_t address) {
  for (Chunk* chunk = &first; chunk != nullptr; chunk = chunk->next.load(std::memory_order_acquire))
    for (MappedRange& slot : chunk->slots)
      if (slot.zeroIfAround(address)) return true;
  return false;
}

namespace {

constinit struct sigaction former {};

/// Whether the signal is the kernel's answer to an instruction that touched si_addr. A wrong
/// alignment is, too, but other memory does not cure it.
bool isMemoryLost(const siginfo_t& info) {
  return info.si_code == BUS_ADRERR || info.si_code == BUS_OBJERR || info.si_code == BUS_MCEERR_AR;
}

/// What happens without any handler: a fault comes again when this returns, a signal that was sent
/// does not and is sent again.
void byDefault(int number, bool isFault) {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  ::sigaction(number, &action, nullptr);
  if (!isFault) ::raise(number);
}

void passOn(int number, siginfo_t* info, void* context) {
  const bool isFault = isMemoryLost(*info) || info->si_code == BUS_ADRALN;
  if ((former.sa_flags & SA_SIGINFO) != 0) former.sa_sigaction(number, info, context);
  else if (former.sa_handler != SIG_DFL && former.sa_handler != SIG_IGN) former.sa_handler(number);
  else if (former.sa_handler == SIG_DFL || isFault) byDefault(number, isFault);
  // What is left was sent and is ignored; faults cannot be.
}

void onBusError(int number, siginfo_t* info, void* context) {
  const int error = errno;
  if (!isMemoryLost(*info) ||
      !MappedRange::zeroAround(reinterpret_cast<std::uintptr_t>(info->si_addr)))
    passOn(number, info, context);
  errno = error;
}

}  // namespace

void busErrorsAreHandled() {
  static constinit std::atomic_flag installed = ATOMIC_FLAG_INIT;
  if (installed.test_and_set()) return;
  ::sigaction(SIGBUS, nullptr, &former);  // before it is needed
  struct sigaction ours {};
  ours.sa_sigaction = onBusError;
  ours.sa_flags = SA_SIGINFO | SA_ONSTACK | (former.sa_flags & (SA_NODEFER | SA_RESTART));
  ours.sa_mask = former.sa_mask;
  ::sigaction(SIGBUS, &ours, nullptr);
}

}  // namespace Tarn
