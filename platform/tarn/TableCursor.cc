#include "platform/tarn/TableCursor.h"

#include <algorithm>

namespace Tarn {

bool TableCursor::nextPage(const TableView& view) {
  keys_.clear();
  at_ = 0;
  if (ended_ || !view.isAttached()) return false;
  const unsigned depth = takeLatestPage(view);
  const std::uint64_t range = prefixOf(position_, depth) + 1;
  ended_ = depth == 0 || range >> depth != 0;
  if (!ended_) position_ = range << (64 - depth);
  return true;
}

/// When another generation takes the place, what is not mapped of this one is gone: the page is
/// taken from the one that took it.
unsigned TableCursor::takeLatestPage(const TableView& view) {
  for (;;) {
    const TableView& latest = view.latest();
    missed_ = false;
    follow(latest);
    const unsigned depth = takePage(latest);
    const bool replaced = latest.isRetired() || (missed_ && latest.isReplaced());
    if (!replaced || &view.latest() == &latest) return depth;
    keys_.clear();
  }
}

/// Another table has other hashes: it is walked from its start, and what was met is left out.
void TableCursor::follow(const TableView& view) {
  const HeadFixed& fixed = view.fixed();
  if (begun_ && (generation_ != fixed.generation || seed_ != fixed.seed)) {
    passed_.push_back({seed_, position_});
    position_ = 0;
  }
  begun_ = true;
  generation_ = fixed.generation;
  seed_ = fixed.seed;
}

/// Reads the page of the position; returns its depth. While the directory names it, every live word
/// of its range is in it, at a place that it keeps (invariants 3 and 4).
unsigned TableCursor::takePage(const TableView& view) {
  for (;;) {
    const TableView::Directory directory = view.directory();
    const SharedWord& at = directory.entries[prefixOf(position_, directory.depth)];
    const Word entry = at.load(std::memory_order_acquire);  // pairs with IndexWriter's switch
    const unsigned depth = std::min(ownDepthOf(entry), directory.depth);
    if (const SharedWord* words = view.page(pageOf(entry))) takeKeys(view, words, depth);
    else missed_ = true;
    if (view.directory().entries == directory.entries &&
        at.load(std::memory_order_acquire) == entry)
      return depth;
    keys_.clear();
  }
}

/// Records lie anywhere: memory is asked for them some words ahead.
void TableCursor::takeKeys(const TableView& view, const SharedWord* words, unsigned depth) {
  constexpr std::uint32_t ahead = 16;
  const std::uint32_t count = view.pageWords();
  for (std::uint32_t i = 0; i < count; ++i) {
    if (i + ahead < count) view.prefetch(words[i + ahead].load(std::memory_order_relaxed));
    takeKey(view, words[i], depth);
  }
}

/// A word whose segment is gone has changed meanwhile, or is damaged.
void TableCursor::takeKey(const TableView& view, const SharedWord& at, unsigned depth) {
  Word word = at.load(std::memory_order_acquire);
  while (namesRecord(word) && !view.haveSegment(word)) {
    const Word now = at.load(std::memory_order_acquire);
    if (now == word) {
      missed_ = true;
      return;
    }
    word = now;
  }
  if (!namesRecord(word)) return;
  const Record record = view.uncheckedRecord(word);  // who finds the key's row checks it
  if (!record || record.bytes < keyBytes_) return;
  const std::uint64_t hash = view.hash(record.row, keyBytes_);
  if (hash < position_ || prefixOf(hash, depth) != prefixOf(position_, depth)) return;
  if (wasPassed(record.row)) return;
  keys_.insert(keys_.end(), record.row, record.row + keyBytes_);
}

bool TableCursor::wasPassed(const std::byte* key) const {
  return std::ranges::any_of(passed_, [&](const Passed& one) {
    return hashBytes(one.seed, key, keyBytes_) < one.position;
  });
}

}  // namespace Tarn
