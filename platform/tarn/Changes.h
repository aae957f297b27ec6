/// From words of the index that went and came to the keys of the rows that changed. Private to
/// platform/tarn.
///
/// Thread    that of the reader.
/// Trust     a record counts only when it is whole and its key has the hash that its word tells.
/// Cost      records are fetched many at a time; equal words that went and came are never followed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/tarn/Format.h"
#include "platform/tarn/Matcher.h"
#include "platform/tarn/TableReader.h"
#include "platform/tarn/TableView.h"

namespace Tarn {

class Changes {
 public:
  /// Of the table that `view` views, whose segments stay mapped while words that name them may be
  /// given here.
  Changes(const TableView& view, std::size_t keyBytes) : view_(&view), keyBytes_(keyBytes) {}

  /// The same table is viewed there now.
  void viewIs(const TableView& view) { view_ = &view; }
  /// Keys are appended there until finish(); null: nobody wants them.
  void begin(KeyList* keys);

  /// A word came in the place of another; 0: none.
  void replaced(Word before, Word now) { pairs_.push_back({before, now}); }
  void removed(Word word) { removed_.push_back(word); }
  void added(Word word) { added_.push_back(word); }
  /// The keys of what was given so far are not met again before endPhase().
  void boundary() {
    if (removed_.size() + added_.size() >= enoughToCancel) cancelEqual();
    if (pairs_.size() >= enoughToSettle) settle();
  }
  /// Appends the keys of all that was given: of rows that went, came or were written again. What
  /// was only moved keeps its sequence. What follows may be of the same keys, at a later time.
  void endPhase();
  /// Goes on where `before` stands, which is of an older generation: takes the rows of `words` for
  /// those that came in the place of `beforeWords`, and appends the keys of all that differ.
  void succeed(Changes& before, std::span<const Word> beforeWords, std::span<const Word> words);
  /// Ends the last phase, and leaves each key once.
  void finish();

 private:
  static constexpr std::size_t enoughToCancel = 1024;       // fits the nearest caches
  static constexpr std::size_t enoughToSettle = 256 << 10;  // so that places lie close
  static constexpr std::size_t ahead = 32;                  // hides the way to memory
  struct Pair {
    Word before;
    Word now;
  };
  enum class Fate : std::uint8_t { gone, moved, changed, counted };

  void settle();
  void cancelEqual();
  void sortByPlace(std::vector<Pair>& pairs);
  void follow(std::vector<Pair>& pairs);
  void consider(const Pair& pair);
  Record newRecord(Word word);
  Record oldRecord(Word word);
  bool hasItsKey(Word word, const Record& record) const;
  void join(bool sameGeneration);
  void joinSome(std::uint32_t first, std::uint32_t end, bool sameGeneration);
  void joinOne(std::uint32_t number, std::uint64_t hash, bool sameGeneration);
  void tell(const Record& record);
  void dropRepeats(std::size_t first);
  const Record& recordOf(std::uint32_t number) const {
    return number < gone_.size() ? gone_[number] : came_[number - gone_.size()];
  }

  const TableView* view_;
  const std::size_t keyBytes_;
  KeyList* keys_ = nullptr;
  std::size_t first_ = 0;       // of the keys that were appended since begin()
  std::size_t phaseFirst_ = 0;  // since the last phase
  unsigned phases_ = 0;         // in which keys were appended
  std::vector<Pair> pairs_;
  std::vector<Pair> sorted_;  // what sortByPlace() works with
  std::vector<Word> removed_;
  std::vector<Word> added_;
  std::vector<Record> gone_;  // rows of which no pair told the key: they are joined by it
  std::vector<Record> came_;
  std::vector<Fate> fates_;  // of gone_, then of came_
  Matcher matcher_;
  std::unordered_set<Word> damaged_;  // words that came and led to no row
};

}  // namespace Tarn
