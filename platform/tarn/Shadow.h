/// A private copy of the index of a table as its reader saw it last, to find what changed since.
/// Private to platform/tarn.
///
/// The copy of a page stands as its chunk stands in shared memory: words, counters, summaries. A
/// page is held for the hashes from which the directory led to it, as entries tell; what it has of
/// other hashes does not count, so that each key is held once even while a writer, or a dead one,
/// stands between two entries.
///
/// Thread    that of the reader.
/// Trust     a page that is named twice, entries that name none, words that lead nowhere: reported,
///           and left out.
/// Memory    as much as the pages in use.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <set>
#include <span>
#include <vector>

#include "platform/tarn/Changes.h"
#include "platform/tarn/Format.h"
#include "platform/tarn/TableView.h"

namespace Tarn {

class Shadow {
 public:
  /// A copy of nothing yet, of the table that is attached to `view`.
  /// Whoever looks up in `told` finds what the last update has told, and nothing that came after.
  Shadow(const TableView& view, TableView& told, std::size_t keyBytes);

  /// The same table is viewed there now.
  void viewIs(const TableView& view) {
    view_ = &view;
    tell();
  }

  /// After so many passes, between which the writer changed the directory, an update is given up
  /// for the time being.
  void passLimitIs(unsigned limit) { passLimit_ = limit; }
  /// Whether there is nothing to do, as far as the table's count of changes tells.
  bool isCurrent() const {
    return isComplete_ && view_->state().changes.load(std::memory_order_acquire) == changes_;
  }
  /// Brings the copy up to date where counters differ, or everywhere, and tells what came and went;
  /// `changes` may be null.
  void update(bool everywhere, Changes* changes);

  /// Whether a word leads into that segment.
  bool names(std::uint32_t segment) const {
    return segment < named_.size() && named_[segment] != 0;
  }
  /// All words that name records.
  std::vector<Word> words() const;

 private:
  /// Stands in the copy for a word whose record is not to be had, so that it is looked at again.
  static constexpr Word unreachedWord = 2;
  static_assert(!namesRecord(unreachedWord) && unreachedWord != deletedWord);
  static constexpr unsigned stillAttempts = 4;  // to read a page while it is not written

  struct Free {
    void operator()(void* memory) const { std::free(memory); }
  };
  /// Hashes by their first maxDepth bits: from `from` on, before `to`.
  struct Range {
    std::uint32_t from = 0;
    std::uint32_t to = 0;
    bool operator==(const Range&) const = default;
    bool holds(Word word) const;
  };
  struct Page {
    Range range;              // empty: the page is not held
    Word entry = 0;           // the first that names it
    std::uint32_t walk = 0;   // the last one that met it
    std::uint32_t fresh = 0;  // its number among the pages to be read, in that walk
    bool isHeld() const { return range.to != 0; }
  };
  struct Chunk {
    std::unique_ptr<void, Free> memory;
    Word* words = nullptr;  // in it, where a line of memory begins
    ChunkLayout layout;
    std::vector<Page> pages;
    const SharedWord* shared = nullptr;  // null: not met yet
  };
  /// A page: the copy, and what is copied.
  struct Place {
    Page* page;
    Word* words;
    Word* counters;
    Word* summary;
    const SharedWord* sharedWords;
    const SharedWord* sharedCounters;
    const SharedWord* sharedSummary;
  };
  /// Entries side by side that lead to one page.
  struct Run {
    Word entry;
    Range range;
    bool isWhole() const;
  };
  /// Words of a page that is no longer held, until those of the pages in its place are.
  struct Orphan {
    Range range;
    std::vector<Word> words;
  };
  struct Difference {
    std::uint32_t place;
    Word word;
  };

  const HeadState& state() const { return view_->state(); }
  Chunk* chunkFor(std::uint32_t page);
  Place place(std::uint32_t page);

  bool walk(bool patient, Changes* changes);
  bool findRuns(bool patient, Changes* changes);
  void meet(const Run& run, Changes* changes);
  void meetAgain(const Run& run, bool isDamage);
  void orphan(Place at, Changes* changes);
  bool replaceOrphans(Changes* changes);
  bool replace(std::span<Orphan> orphans, std::span<const Run> runs, Changes* changes);
  bool read(const Run& run);
  void leave(const Place& at) const;
  void remove(const Orphan& orphan, Changes* changes);
  void giveUpOrphans(Changes* changes);
  bool stillNames(const Page& page) const;

  bool compareAll(Changes* changes);
  bool compareCounted(Changes* changes);
  void findCounted(Chunk& chunk);
  void findCounted(const Chunk& chunk, std::size_t from, std::size_t to);
  void prefetch(const Chunk& chunk, std::size_t group) const;
  bool comparePage(const Place& at, bool all, Changes* changes);
  bool stoodStill(const Place& at, const Word* counters) const;
  void dropTwins(const Place& at);
  void collect(const Place& at, std::uint32_t group);
  void accept(const Place& at, const Difference& difference, Changes* changes);
  Word reachable(const Place& at, std::uint32_t place, Word word);
  bool isReachable(Word word) const;
  void comeBackTo(const Place& at, std::uint32_t place);

  void tell();
  void count(Word word);
  void uncount(Word word);
  static Word effective(const Page& page, Word word) {
    return namesRecord(word) && page.range.holds(word) ? word : 0;
  }

  const TableView* view_;
  const std::size_t keyBytes_;
  const Geometry geometry_;
  const std::uint32_t groups_;  // in a page
  std::array<Chunk, chunkLimit + 1> chunks_;
  std::vector<std::uint32_t> named_;  // by segment: how many words lead there
  unsigned passLimit_ = 64;
  Word changes_ = 0;
  Word structure_ = 0;
  bool isComplete_ = false;

  std::size_t rows_ = 0;           // words that name records
  TableView& told_;                // over the copy, as the last update left it
  std::vector<Word> entries_;      // of the last walk
  std::vector<Word> toldEntries_;  // as they lead to pages that are held
  bool mustTell_ = false;          // the copy stands elsewhere than told_ knows

  // Of the update under way.
  std::uint32_t walk_ = 0;
  std::uint32_t missingChunks_ = 0;     // a bit for each
  std::vector<Run> fresh_;              // pages to be read
  std::vector<Orphan> orphans_;         // not yet told to be gone
  std::vector<std::uint32_t> touched_;  // groups of a chunk whose counters changed
  std::vector<Difference> found_;       // in the page that is compared
  std::vector<Word> counters_;          // as they were before that
  std::set<std::uint32_t> lost_;        // segments that are not to be had
};

}  // namespace Tarn
