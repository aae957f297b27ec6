/// The reading side of a table, for its writer and its readers alike: finds rows.
///
/// Thread    one for each view; the writer changes the table meanwhile, in any process.
/// Trust     no byte of the table is: everything is checked against what is mapped, and a record
///           counts only with the right checksum. Damage is reported, and reads as absent.
/// Cost      a lookup makes no system call, no store to shared memory and takes no lock: it reads
///           an entry of the directory, a line of words and a record.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/Export.h"
#include "platform/tarn/Format.h"
#include "platform/tarn/Storage.h"

namespace Tarn {

/// A record as it was found: its row, valid while the view keeps the segment (TableView::Pin).
struct Record {
  const std::byte* row = nullptr;
  std::uint32_t bytes = 0;
  std::uint64_t sequence = 0;
  explicit operator bool() const { return row != nullptr; }
};

/// Hears of damage, and of what the view could not get: "TABLE: what, where". Must not throw.
using Report = std::function<void(const std::string& message)>;

/// Whether a mapping begins as that segment does.
bool isSegment(const Mapping& mapping, std::uint64_t generation, std::uint32_t number);

class MPLS_EXPORT TableView {
 public:
  /// A view of nothing: finds nothing.
  TableView();
  ~TableView();
  TableView(const TableView&) = delete;
  TableView& operator=(const TableView&) = delete;

  /// Views the table of which `head` is the head, as headProblem() has found it good. What else is
  /// needed is opened in `storage`, which must outlive the view, when it is met.
  void headIs(const Storage& storage, Access access, Mapping head, Report report);
  /// Views an index that the caller keeps in memory of its own, over the segments that `lender` has
  /// mapped; the words must name none but these. `lender` must outlive the view. As long as the
  /// caller does not change it, such a view stands still.
  void borrow(const TableView& lender);
  /// The index: the entries of its directory, and the words of its chunks.
  void borrowedIs(const Word* entries, unsigned depth);
  void borrowedRowsAre(std::size_t rows);
  void borrowedChunkIs(unsigned chunk, const Word* words) { setChunk(chunk, sharedWords(words)); }
  /// Views nothing again.
  void clear();
  /// Views what `other` views, which then views nothing. What a Pin holds stays.
  void take(TableView& other);
  bool isAttached() const { return static_cast<bool>(head_); }

  const Mapping& head() const { return head_; }
  /// As it was found good: what others may do to the file later does not reach it.
  const HeadFixed& fixed() const { return fixed_; }
  const HeadState& state() const { return *state_; }
  /// The same; of a borrowing view, which has a head of its own, that of the table.
  const HeadState& tableState() const { return lender_ == nullptr ? *state_ : lender_->state(); }
  std::uint64_t seed() const { return seed_; }
  std::uint32_t pageWords() const { return pageMask_ + 1; }
  unsigned pageShift() const { return pageShift_; }
  std::string tableName() const;

  std::uint64_t hash(const std::byte* key, std::size_t keyBytes) const {
    return hashBytes(seed_, key, keyBytes);
  }

  // ---- Lookup ----------------------------------------------------------------------------------

  /// The record of a key; none when there is none. `keyBytes` must be that of the table, and
  /// `rowBytes`, too, or 0: it is a third faster when the size of rows is known.
  template <std::size_t keyBytes, std::uint32_t rowBytes = 0>
  Record find(const std::byte* key) const {
    return find<keyBytes, rowBytes>(key, hashBytes(seed_, key, keyBytes));
  }
  template <std::size_t keyBytes, std::uint32_t rowBytes = 0>
  Record find(const std::byte* key, std::uint64_t hash) const;
  template <std::size_t keyBytes>
  Record findThoroughly(const std::byte* key, std::uint64_t hash) const;

  /// Finds `count` keys, which stand one behind the other: loads for all of them are under way at
  /// the same time. As fast as memory is wide; 8 to 32 keys at a time.
  template <std::size_t keyBytes, std::uint32_t rowBytes = 0>
  void findBatch(const std::byte* keys, std::size_t count, Record* found) const;

  /// The record that a word names, whatever its key; none, and a report, when it names none.
  Record record(Word word) const;
  /// The same without the checksum, for those who have checked it before.
  Record uncheckedRecord(Word word) const {
    std::uint32_t check = 0;
    if (!namesRecord(word) || !haveSegment(word)) return {};
    return inside(word, &check);
  }
  /// Asks memory for the begin of the record that a word names, if its segment is mapped. Like the
  /// functions below it is always inlined: g++ 12 takes one that only prefetches for one without
  /// effect, and drops the call.
  [[gnu::always_inline]] void prefetch(Word word) const {
    const Slot& at = slot(segmentOf(word));
    if (offsetOf(word) < at.size) prefetchRecord(at.bytes + offsetOf(word));
  }
  /// Whether the segment of a word is mapped, or can be.
  bool haveSegment(Word word) const {
    return offsetOf(word) + sizeof(RecordHeader) <= slot(segmentOf(word)).size ||
           mapSegment(segmentOf(word));
  }

  /// The size of a segment; 0 when it is not mapped.
  std::uint64_t segmentBytes(std::uint32_t segment) const { return slot(segment).size; }
  /// Its mapping, valid until the next call; null when it is not mapped.
  const Mapping* segmentMapping(std::uint32_t segment) const;

  // ---- Index -----------------------------------------------------------------------------------

  /// The directory as it stands: its depth, and its entries.
  struct Directory {
    const SharedWord* entries;
    unsigned depth;
    std::size_t size() const { return std::size_t{1} << depth; }
  };
  Directory directory() const {
    const Word depth = state_->directory.load(std::memory_order_acquire);
    if (depth != directory_.depth) [[unlikely]]
      return laterDirectory(depth);
    return directory_;
  }
  /// The words of a page; null, and a report, when there is no such page.
  const SharedWord* page(std::uint32_t number) const {
    const Chunk& chunk = chunks_[chunkOf(number)];
    if (chunk.words == nullptr) [[unlikely]]
      return laterPage(number);
    return reinterpret_cast<const SharedWord*>(chunk.origin +
                                               (std::uintptr_t{number} << pageByteBits_));
  }
  /// The change counters of the groups of a page, and the summary counter that covers it. The page
  /// must be there.
  const SharedWord* groupCounters(std::uint32_t number) const;
  const SharedWord* summaryCounter(std::uint32_t number) const;
  std::uint32_t groupsInPage() const { return groupsInPage_; }

  // ---- Generations -----------------------------------------------------------------------------

  /// Whether the writer has put another generation in the place of this one. Lookups then look
  /// there; everything else goes on with what is viewed, until headIs().
  bool isRetired() const { return state_->retired.load(std::memory_order_acquire) != 0; }
  /// The same, also when the writer died before it could say so. Asks the storage.
  bool isReplaced() const;
  /// The view in which lookups end: of the generation that took the place of this one, or this.
  const TableView& latest() const;

  // ---- Keeping ---------------------------------------------------------------------------------

  /// While there is one, no segment is let go of, so rows that were found stay where they are.
  class Pin {
   public:
    explicit Pin(const TableView& view) : view_(&view.keeper()) { ++view_->pins_; }
    Pin(const Pin& o) : Pin(*o.view_) {}
    Pin& operator=(const Pin&) = delete;
    ~Pin() { --view_->pins_; }

   private:
    const TableView* view_;
  };

  /// Lets go of the segments that are gone from the storage, but for those that `keep` wants.
  /// Does nothing while there is a Pin. To be called between lookups.
  void tidy(const std::function<bool(std::uint32_t segment)>& keep = nullptr) const;
  /// Whether the memory behind any mapping went; the view is of no use then.
  bool isDamaged() const;
  std::size_t segmentsMapped() const { return segments_.size(); }

  void report(const std::string& what) const;
  void reportUnlessReplaced(const std::string& what) const;

 private:
  static const SharedWord* sharedWords(const Word* words) {
    return reinterpret_cast<const SharedWord*>(words);
  }
  HeadState& ownState();
  const TableView& keeper() const { return lender_ == nullptr ? *this : lender_->keeper(); }

  // For the writer, which makes what its view views.
  friend class IndexWriter;
  friend class RowLog;
  friend class TableCore;
  void headOnlyIs(const Storage& storage, Access access, Mapping head, Report report);
  void headMovedTo(Mapping head);
  void geometryIs(const HeadFixed& fixed);
  void directoryIs(unsigned depth, Mapping mapping) const;
  void chunkIs(unsigned chunk, Mapping mapping) const;
  void segmentIs(std::uint32_t segment, Mapping mapping) const;
  void segmentDel(std::uint32_t segment) const;

  struct Slot {
    const std::byte* bytes = nullptr;
    std::uint64_t size = 0;
  };
  static constexpr unsigned blockBits = 10;
  using Block = std::array<Slot, 1U << blockBits>;
  struct Chunk {
    const SharedWord* words = nullptr;
    std::uintptr_t origin = 0;  // where page 0 would stand if the chunk went down to it
    Mapping mapping;
  };
  static const Block noSlots;

  [[gnu::always_inline]] static void prefetchRecord(const std::byte* at) {
    __builtin_prefetch(at);
    __builtin_prefetch(at + 64);
  }
  /// Above so many bytes of a row the processor would not look as far ahead by itself.
  static constexpr std::uint32_t fetchedBytes = 192;
  template <std::uint32_t rowBytes>
  [[gnu::always_inline]] static void prefetchRow(const std::byte* record) {
    for (std::uint32_t at = 0; at < sizeof(RecordHeader) + rowBytes; at += 64)
      __builtin_prefetch(record + at);
  }
  const Slot& slot(std::uint32_t segment) const {
    return (*slots_[segment >> blockBits])[segment & ((1U << blockBits) - 1)];
  }
  /// Header and row at a word, all inside of its segment; none when it is not mapped or not inside.
  Record inside(Word word, std::uint32_t* check) const {
    const Slot& at = slot(segmentOf(word));
    const std::uint64_t offset = offsetOf(word);
    if (offset + sizeof(RecordHeader) > at.size) [[unlikely]]
      return {};
    RecordHeader header;
    std::memcpy(&header, at.bytes + offset, sizeof header);
    if (header.bytes > at.size - offset - sizeof header) [[unlikely]]
      return {};
    *check = header.check;
    return {at.bytes + offset + sizeof header, header.bytes, header.sequence};
  }
  bool isWhole(const Record& found, std::uint32_t check) const {
    return checkRecord(seed_, found.sequence, found.row, found.bytes) == check;
  }
  template <std::size_t keyBytes>
  bool probe(const std::byte* key, std::uint64_t hash, Word entry, const SharedWord* words,
             Record* found) const;
  template <std::size_t keyBytes, std::uint32_t rowBytes>
  Record whole(Word word, const std::byte* key) const;
  template <std::size_t keyBytes>
  bool take(const std::byte* key, std::uint64_t hash, const SharedWord& at, Record* found) const;
  /// The slow part of a probe: a word with the right tag whose record is not (yet) at hand, or is
  /// damaged. Whether to look at the same word again; if not it is a suspect.
  bool mend(const SharedWord& at, Word word) const;
  /// A word that the directory names leads nowhere: reported once.
  void convict() const;
  /// A view of the generation that took the place of this one; null when there is none.
  const TableView* successor() const;
  bool mapDirectory(Word depth) const;
  void setChunk(unsigned chunk, const SharedWord* words) const;
  void let(Mapping mapping) const;

  Directory laterDirectory(Word depth) const;
  const SharedWord* laterPage(std::uint32_t number) const;
  bool mapSegment(std::uint32_t segment) const;
  Slot& madeSlot(std::uint32_t segment) const;

  const HeadState* state_;
  std::uint64_t seed_ = 0;
  std::uint32_t pageMask_ = 7;
  unsigned pageShift_ = 61;
  unsigned pageByteBits_ = 6;
  std::uint32_t groupsInPage_ = 1;
  mutable Directory directory_;
  mutable std::array<Chunk, chunkLimit + 1> chunks_;
  mutable std::array<const Block*, (segmentLimit >> blockBits)> blocks_;
  const Block* const* slots_ = blocks_.data();  // or those of the view that was borrowed from
  const TableView* lender_ = nullptr;

  const Storage* storage_ = nullptr;
  Access access_ = Access::read;
  Mapping head_;
  HeadFixed fixed_{};
  mutable std::vector<Mapping> directories_;  // the one in use last; small, kept till the end
  mutable std::vector<std::pair<std::uint32_t, Mapping>> segments_;  // those that are mapped
  mutable std::vector<Mapping> pinned_;  // let go of while there was a Pin
  mutable std::size_t pins_ = 0;
  mutable std::unique_ptr<TableView> successor_;
  mutable std::vector<std::unique_ptr<TableView>> pinnedSuccessors_;
  mutable Word suspect_ = 0;            // met by the lookup under way
  mutable std::set<Word> convicted_;    // suspects that were reported
  mutable std::set<std::string> said_;  // what else was reported, each once
  Report report_;
};

}  // namespace Tarn

#include "platform/tarn/TableLookup.h"
