/// The index of one generation of a table, as its writer changes it.
///
/// Pages are filled aside and then named by the directory, under an intent that the next writer
/// finishes should this one die. Nothing else than a single store changes what a reader finds.
///
/// Thread    the writer's.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/tarn/Format.h"
#include "platform/tarn/Storage.h"
#include "platform/tarn/TableView.h"

namespace Tarn {

/// A file of a table that is adopted; none, and a report, when it is not there or not usable.
/// Raises std::system_error when it cannot be told: then nothing may be thrown away.
Mapping openToAdopt(Storage& storage, const TableView& view, const std::string& file);

class IndexWriter {
 public:
  IndexWriter(Storage& storage, const TableView& view, const HeadFixed& fixed, HeadState& state);

  /// From now on the head stands there, and what is made is shown to another view.
  void headIs(HeadState& state, const TableView& view) {
    state_ = &state;
    view_ = &view;
  }

  /// A place in a page.
  struct Spot {
    SharedWord* words = nullptr;
    std::uint32_t page = 0;
    std::uint32_t place = 0;
    Word word = 0;  ///< what stands there
    Record record;  ///< of that word, when the key was found
    bool found() const { return static_cast<bool>(record); }
  };

  /// Makes the files of a new index for that many rows.
  void make(std::size_t rows);
  /// Takes over the index that is there: finishes what was begun, and shows `word` each word in
  /// use, which it drops when that returns false. False, and a report, when the directory is
  /// damaged beyond use.
  bool adopt(const std::function<bool(Word word)>& word);

  /// Where the key stands; else where it can be put. False when the page must be made roomier
  /// first.
  bool locate(const std::byte* key, std::size_t keyBytes, std::uint64_t hash, Spot& spot) const;
  /// Where exactly that word stands; words == null when it does not.
  Spot locate(Word word, std::uint64_t hash) const;
  /// Asks memory for what a search for a hash, and a store where it ends, will touch.
  void prefetch(std::uint64_t hash) const;
  /// The word at which such a search will look first: the first that has the tag in the line where
  /// it begins; 0 when there is none.
  Word firstTagged(std::uint64_t hash) const;
  /// Makes the page of a hash roomier. Raises, and changes nothing, when it cannot.
  void makeRoom(std::uint64_t hash);
  /// Stores a word, and counts.
  void store(const Spot& spot, Word word);
  /// Counts a change that readers must look for everywhere in the directory.
  void restructured();

  /// Calls visit(spot) for each word that names a record.
  void each(const std::function<void(const Spot& spot)>& visit) const;

  std::size_t rows() const { return rows_; }
  std::size_t words() const { return std::size_t{pagesInUse_} << pageBits_; }
  std::uint64_t bytes() const { return bytes_; }
  void removeFiles();

 private:
  struct Chunk {
    SharedWord* words = nullptr;
    SharedWord* counters = nullptr;
    SharedWord* summaries = nullptr;
  };
  struct PageState {
    std::uint16_t live = 0;
    std::uint16_t used = 0;  // words that are not 0
    bool inUse = false;
  };

  SharedWord* words(std::uint32_t page) const {
    const unsigned chunk = chunkOf(page);
    return chunks_[chunk].words + (std::size_t{page - firstPageOf(chunk)} << pageBits_);
  }
  /// The change counter of the group of a word.
  SharedWord& counter(std::uint32_t page, std::uint32_t place) const;
  void bump(std::uint32_t page, std::uint32_t place);
  void changed() { state_->changes.store(++changes_, std::memory_order_release); }

  void openChunk(unsigned chunk, Mapping mapping);
  void openDirectory(unsigned depth, Mapping mapping);
  void makeChunk(unsigned chunk);
  void makeDirectory(unsigned depth, const std::function<Word(std::size_t)>& entry);
  void adoptChunks();
  bool adoptDirectory();
  bool adoptEntry(std::size_t first, std::size_t* next);
  void adoptPage(std::uint32_t page, const std::function<bool(Word word)>& word);
  void removeStrangers();

  std::uint32_t takePage();
  void giveBack(std::uint32_t page);
  void doubleDirectory();
  /// The live words of `from` whose hashes go on with `half` after `depth` bits (all of them, if
  /// there is one page) are put into `to`, whose depth is `depth`.
  void fill(std::uint32_t to, unsigned depth, std::uint32_t from, unsigned fromDepth, int half);
  void fillWord(std::uint32_t to, unsigned depth, Word word, std::uint64_t hash);
  std::uint64_t hashOf(Word word, unsigned bitsNeeded) const;
  void switchEntries(std::size_t first, std::size_t count, std::uint32_t low, std::uint32_t high,
                     unsigned depth);
  void finishIntent();

  Storage& storage_;
  const TableView* view_;
  const HeadFixed& fixed_;
  HeadState* state_;
  const unsigned pageBits_;
  const unsigned groupBits_;
  const std::uint32_t usedLimit_;  // words of a page that may be other than 0

  SharedWord* entries_ = nullptr;
  unsigned depth_ = 0;
  std::array<Chunk, chunkLimit + 1> chunks_{};
  unsigned chunkCount_ = 0;
  std::vector<PageState> pages_;
  std::vector<std::uint32_t> freePages_;
  std::uint32_t pagesInUse_ = 0;
  std::size_t rows_ = 0;
  std::uint64_t bytes_ = 0;
  std::uint64_t version_ = 0;
  std::uint64_t changes_ = 0;
  std::uint64_t structure_ = 0;
};

}  // namespace Tarn
