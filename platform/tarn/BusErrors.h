/// Which parts of the address space are files of tables: what the handler of SIGBUS goes by.
/// Private to platform/tarn.
///
/// Thread    any; the handler reads at any moment.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Tarn {

/// One such part, in a slot that is used again and never freed.
class MappedRange {
 public:
  /// Enters a range; it must be mapped. `owner` is the only process that has it, 0 when forked
  /// children have it too. Raises std::bad_alloc. Takes no lock; looks at each of the slots in use
  /// in the worst case, at one in each full hundred usually.
  static MappedRange& enter(std::byte* begin, std::size_t size, int protection, pid_t owner);
  /// Gives the slot back. To be called before the range is unmapped.
  void leave();
  /// Whether the handler has put zeros into the place of the file.
  bool isDamaged() const { return damaged_.load(std::memory_order_acquire); }

  /// For the handler: if `address` is in a range, makes that whole range read as zeros. Whether it
  /// was. Async-signal-safe.
  static bool zeroAround(std::uintptr_t address);

 private:
  struct Chunk;
  static Chunk first;

  bool claim();
  bool zeroIfAround(std::uintptr_t address);

  // turn_ is odd while the others change, and never has a value twice: who reads them and finds the
  // same even turn_ before and after has values that belong together.
  std::atomic<std::uint64_t> turn_{0};
  std::atomic<std::uintptr_t> begin_{0};  // 0: the slot is free
  std::atomic<std::size_t> size_{0};
  std::atomic<int> protection_{0};
  std::atomic<pid_t> owner_{0};
  std::atomic<bool> damaged_{false};
  Chunk* chunk_ = nullptr;  // not for the handler
};

}  // namespace Tarn
