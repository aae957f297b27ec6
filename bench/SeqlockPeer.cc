#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <bit>
#include <cstring>
#include <string>

#include "bench/TableRun.h"

namespace Bench {
namespace {

enum State : std::uint32_t { neverUsed, used, erased };

/// A slot in a cache line or several of its own. The version is odd while the writer is inside.
template <class Row>
struct alignas(64) Slot {
  static constexpr std::size_t words = sizeof(Row) / 8;
  std::atomic<std::uint32_t> version;
  std::atomic<std::uint32_t> state;
  std::array<std::atomic<std::uint64_t>, words> row;

  void write(State to, const Row* from) {
    const std::uint32_t before = version.load(std::memory_order_relaxed);
    version.store(before + 1, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release);
    state.store(to, std::memory_order_relaxed);
    if (from != nullptr) {
      std::array<std::uint64_t, words> bits;
      std::memcpy(bits.data(), from, sizeof *from);
      for (std::size_t i = 0; i < words; ++i) row[i].store(bits[i], std::memory_order_relaxed);
    }
    version.store(before + 2, std::memory_order_release);
  }
  /// Copies the row if `wanted(key)`; what the slot was.
  template <class Wanted>
  State read(Row& to, Wanted wanted) const {
    std::array<std::uint64_t, words> bits;
    for (;;) {
      const std::uint32_t before = version.load(std::memory_order_acquire);
      auto found = static_cast<State>(state.load(std::memory_order_relaxed));
      if (found == used && !wanted(row[0].load(std::memory_order_relaxed))) found = erased;
      if (found == used)
        for (std::size_t i = 0; i < words; ++i) bits[i] = row[i].load(std::memory_order_relaxed);
      std::atomic_thread_fence(std::memory_order_acquire);
      if ((before & 1) != 0 || version.load(std::memory_order_relaxed) != before) continue;
      if (found == used) std::memcpy(&to, bits.data(), sizeof to);
      return found;
    }
  }
};

/// Linear probing over one and a half to three slots for each row.
template <class Row>
class Slots {
 public:
  Slots(const std::string& folder, std::uint32_t rows, int flags)
      : mask_(std::bit_ceil(rows + rows / 2) - 1) {
    const int fd = open((folder + "/slots").c_str(), flags | O_CLOEXEC, 0600);
    const std::size_t bytes = (mask_ + 1) * sizeof(Slot<Row>);
    const bool writing = flags != O_RDONLY;
    require(fd >= 0 && (!writing || ftruncate(fd, static_cast<off_t>(bytes)) == 0), "slots");
    void* const at = mmap(nullptr, bytes, writing ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED,
                          fd, 0);  // as long as the process lives
    require(at != MAP_FAILED, "mmap");
    close(fd);
    slots_ = static_cast<Slot<Row>*>(at);
  }

  Slot<Row>& at(std::size_t i) const { return slots_[i & mask_]; }
  std::size_t size() const { return mask_ + 1; }
  static std::size_t home(RowKey key) { return static_cast<std::size_t>(Forma::hashOf(key)); }

 private:
  std::size_t mask_;
  Slot<Row>* slots_;
};

template <class R>
struct Seqlock {
  using Row = R;
  static constexpr bool isPrivate = false;

  class Writer {
   public:
    Writer(const std::string& folder, std::uint32_t rows)
        : slots_(folder, rows, O_RDWR | O_CREAT) {}
    void put(const Row& row) {
      Slot<Row>* free = nullptr;
      for (std::size_t i = slots_.home(row.key);; ++i) {
        Slot<Row>& slot = slots_.at(i);
        const std::uint32_t state = slot.state.load(std::memory_order_relaxed);
        if (state == used && slot.row[0].load(std::memory_order_relaxed) == row.key)
          return slot.write(used, &row);
        if (state != used && free == nullptr) free = &slot;
        if (state == neverUsed) return free->write(used, &row);
      }
    }
    void erase(RowKey key) {
      for (std::size_t i = slots_.home(key);; ++i) {
        Slot<Row>& slot = slots_.at(i);
        const std::uint32_t state = slot.state.load(std::memory_order_relaxed);
        if (state == neverUsed) return;
        if (state == used && slot.row[0].load(std::memory_order_relaxed) == key)
          return slot.write(erased, nullptr);
      }
    }
    void flush() {}

   private:
    Slots<Row> slots_;
  };

  class Reader {
   public:
    Reader(const std::string& folder, std::uint32_t rows) : slots_(folder, rows, O_RDONLY) {}
    bool get(RowKey key, Row& row) const {
      for (std::size_t i = slots_.home(key);; ++i) {
        const State state = slots_.at(i).read(row, [key](RowKey there) { return there == key; });
        if (state != erased) return state == used;
      }
    }
    template <class Each>
    void forEach(Each each) const {
      Row row;
      for (std::size_t i = 0; i < slots_.size(); ++i)
        if (slots_.at(i).read(row, [](RowKey) { return true; }) == used) each(row);
    }

   private:
    Slots<Row> slots_;
  };
};

}  // namespace

template <std::size_t rowBytes>
TableKind seqlockTable() {
  return tableKind<Seqlock<TableRow<rowBytes>>>("seqlock");
}
template TableKind seqlockTable<routeBytes>();
template TableKind seqlockTable<setBytes>();

}  // namespace Bench
