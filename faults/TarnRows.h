/// Rows that prove which key and which write they are of, and the ledger of what may be seen of
/// them: kept outside of the table, in memory that the processes of a fault run share.
#pragma once

#include <sys/mman.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/tarn/TableReader.h"
#include "platform/tarn/TableWriter.h"

namespace TarnFaults {

using Key = std::uint64_t;
/// The number of a write. They go up over all keys; a removal is even, and 0 is that of a key that
/// was never written.
using Version = std::uint64_t;
constexpr Version notWhole = ~Version{0};  ///< of a row that was found and is not one that was put
constexpr bool isPut(Version version) { return version % 2 != 0; }

struct Kind {
  Tarn::Geometry geometry;
  std::size_t keys = 0;
  bool fixedSize = false;
  bool isImpatient = false;  ///< readers give up soon where they cannot keep up
};
inline constexpr Tarn::Geometry tinyGeometry{8, 8, 4096, 4096};

Tarn::TableShape shapeOf(const Kind& kind);

/// The bytes of the row that a write puts.
class Row {
 public:
  Row(Key key, Version version, bool fixedSize);
  const std::byte* bytes() const { return reinterpret_cast<const std::byte*>(words_.data()); }
  std::size_t size() const { return words_.size() * sizeof(std::uint64_t); }

 private:
  std::vector<std::uint64_t> words_;
};

inline const std::byte* bytesOf(const Key& key) { return reinterpret_cast<const std::byte*>(&key); }

/// The version of a key's row; 0 when there is none.
Version versionOf(const Tarn::Record& row, Key key, bool fixedSize);
inline Version versionIn(const Tarn::TableView& view, Key key, bool fixedSize) {
  return versionOf(view.find<sizeof key>(bytesOf(key)), key, fixedSize);
}

/// What the writer does and has done with each key.
class Ledger {
 public:
  explicit Ledger(std::size_t keys);
  ~Ledger();
  Ledger(const Ledger&) = delete;
  Ledger& operator=(const Ledger&) = delete;

  struct Entry {
    std::atomic<Version> begun;    ///< the last write that was begun
    std::atomic<Version> done;     ///< the last that was completed
    std::atomic<Version> removal;  ///< the last removal that was begun
  };
  /// What is common to all keys.
  struct Common {
    std::atomic<Version> last;
    std::atomic<std::uint64_t> writes, renewals, adoptions;
    std::atomic<bool> ready;       ///< the writer has adopted the table and found it right
    std::atomic<bool> hasProblem;  ///< then `problem` stands
    char problem[480];
    std::atomic<const char*> doing;  ///< what the writer does just now; null while that is nothing
  };
  Entry& operator[](Key key) const { return entries_[key]; }
  std::size_t keys() const { return entries_.size(); }
  Common& common() const { return *common_; }
  /// The first one counts.
  void problemIs(const std::string& text) const;

  // ---- For the writer --------------------------------------------------------------------------

  Version begin(Key key, bool put) const;
  void end(Key key) const;
  void put(Tarn::TableWriter& writer, Key key, bool fixedSize) const;
  void remove(Tarn::TableWriter& writer, Key key) const;
  /// Compares what a writer has adopted with what its predecessor did: a write that was under way
  /// may have happened or not. What is wrong; empty when nothing is.
  std::string compare(Tarn::TableWriter& writer, bool fixedSize) const;
  /// The same; from now on that write has happened or has not.
  std::string settle(Tarn::TableWriter& writer, bool fixedSize) const;
  /// Another table was at that point when this one was.
  void copyFrom(const Ledger& other) const;

  // ---- For readers -----------------------------------------------------------------------------

  /// Reads a key, which the writer may write meanwhile. `read` returns the version that it finds.
  /// What is wrong with that; empty when nothing is.
  template <class Read>
  std::string check(Key key, Read read) const {
    const Entry& entry = entries_[key];
    const Version before = entry.done.load(std::memory_order_acquire);
    const Version found = read();
    const Version begun = entry.begun.load(std::memory_order_acquire);
    const Version removal = entry.removal.load(std::memory_order_acquire);
    const bool right = found == 0        ? !isPut(before) || removal > before
                       : found == before ? true
                                         : found > before && found <= begun;
    return right ? std::string() : describe(key, before, found, begun);
  }

 private:
  static std::string describe(Key key, Version before, Version found, Version begun);

  std::size_t bytes_;
  Common* common_;
  std::span<Entry> entries_;
};

}  // namespace TarnFaults
