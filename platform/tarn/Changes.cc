#include "platform/tarn/Changes.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>
#include <string>
#include <utility>

namespace Tarn {

void Changes::begin(KeyList* keys) {
  keys_ = keys;
  first_ = phaseFirst_ = keys == nullptr ? 0 : keys->size();
  phases_ = 0;
}

void Changes::endPhase() {
  settle();
  if (keys_->size() != phaseFirst_) ++phases_;
  phaseFirst_ = keys_->size();
}

void Changes::finish() {
  endPhase();
  if (phases_ > 1) dropRepeats(first_);
}

void Changes::succeed(Changes& before, std::span<const Word> beforeWords,
                      std::span<const Word> words) {
  before.endPhase();
  keys_ = before.keys_;
  first_ = before.first_;
  phaseFirst_ = before.phaseFirst_;
  phases_ = before.phases_;
  for (const Word word : beforeWords) before.pairs_.push_back({word, 0});
  before.follow(before.pairs_);
  gone_ = std::move(before.gone_);
  for (const Word word : words) pairs_.push_back({0, word});
  follow(pairs_);
  pairs_ = {};
  join(false);
  endPhase();
}

void Changes::settle() {
  cancelEqual();
  follow(pairs_);
  pairs_.clear();
  join(true);
}

/// Pages that were split, or filled anew, hold the words that were there before. What is left is
/// followed.
void Changes::cancelEqual() {
  if (!removed_.empty() && !added_.empty()) {
    matcher_.reset(removed_.size());
    for (std::uint32_t i = 0; i < removed_.size(); ++i)
      matcher_.findOrEnter(removed_[i], i, [](std::uint32_t) { return false; });
    for (Word& word : added_) {
      const auto equal = [&](std::uint32_t i) { return removed_[i] == word; };
      const std::uint32_t at = matcher_.find(word, equal);
      if (at != Matcher::none) removed_[at] = word = 0;
    }
  }
  for (const Word word : removed_)
    if (word != 0) pairs_.push_back({word, 0});
  for (const Word word : added_)
    if (word != 0) pairs_.push_back({0, word});
  removed_.clear();
  added_.clear();
}

/// Brings many pairs near to those whose records stand near theirs: what was written, or moved, one
/// behind the other is read so.
void Changes::sortByPlace(std::vector<Pair>& pairs) {
  constexpr unsigned bits = 11;
  constexpr unsigned firstBit = 13;  // places of 8 bytes in 64 KiB
  if (pairs.size() < std::size_t{1} << bits) return;
  sorted_.resize(pairs.size());
  const auto digit = [](const Pair& pair) {
    return (pair.now != 0 ? pair.now : pair.before) >> firstBit & ((1U << bits) - 1);
  };
  std::array<std::size_t, 1U << bits> ends{};
  for (const Pair& pair : pairs) ++ends[digit(pair)];
  std::exclusive_scan(ends.begin(), ends.end(), ends.begin(), std::size_t{0});
  for (const Pair& pair : pairs) sorted_[ends[digit(pair)]++] = pair;
  pairs.swap(sorted_);
}

/// The records of some pairs are on their way from memory, all at once, before the first of them is
/// looked at.
void Changes::follow(std::vector<Pair>& pairs) {
  sortByPlace(pairs);
  for (std::size_t i = 0; i < pairs.size(); i += ahead) {
    const std::span some = std::span(pairs).subspan(i, std::min(ahead, pairs.size() - i));
    for (const Pair& pair : some) view_->prefetch(pair.before);
    for (const Pair& pair : some) view_->prefetch(pair.now);
    for (const Pair& pair : some) consider(pair);
  }
}

void Changes::consider(const Pair& pair) {
  const Record before = oldRecord(pair.before);
  const Record now = newRecord(pair.now);
  if (before && now && std::memcmp(before.row, now.row, keyBytes_) == 0) {
    if (before.sequence != now.sequence) tell(now);
    return;
  }
  if (before && hasItsKey(pair.before, before)) gone_.push_back(before);
  if (now) came_.push_back(now);
}

Record Changes::oldRecord(Word word) {
  const Record record = view_->uncheckedRecord(word);
  if (record.bytes < keyBytes_ || (!damaged_.empty() && damaged_.erase(word) != 0)) return {};
  return record;
}

/// Checks what came, so that it is told of as lookups find it.
Record Changes::newRecord(Word word) {
  if (!namesRecord(word)) return {};
  const Record record = view_->record(word);
  if (hasItsKey(word, record)) return record;
  if (record)
    view_->report("damage: a word leads to the row of another key, in segment " +
                  std::to_string(segmentOf(word)) + " at offset " + std::to_string(offsetOf(word)));
  damaged_.insert(word);
  return {};
}

bool Changes::hasItsKey(Word word, const Record& record) const {
  return record.bytes >= keyBytes_ && !tagsDiffer(word, view_->hash(record.row, keyBytes_));
}

// ---- Joining by key -----------------------------------------------------------------------------

void Changes::join(bool sameGeneration) {
  const std::size_t all = gone_.size() + came_.size();
  fates_.assign(all, Fate::changed);
  if (!gone_.empty()) {
    matcher_.reset(all);
    for (std::size_t i = 0; i < all; i += ahead)
      joinSome(static_cast<std::uint32_t>(i), static_cast<std::uint32_t>(std::min(i + ahead, all)),
               sameGeneration);
  }
  for (std::uint32_t i = 0; i < all; ++i)
    if (fates_[i] == Fate::gone || fates_[i] == Fate::changed) tell(recordOf(i));
  gone_.clear();
  came_.clear();
}

/// What each of some rows will be compared with is on its way before the first of them is.
void Changes::joinSome(std::uint32_t first, std::uint32_t end, bool sameGeneration) {
  std::array<std::uint64_t, ahead> hashes;
  for (std::uint32_t i = first; i < end; ++i) {
    hashes[i - first] = view_->hash(recordOf(i).row, keyBytes_);
    matcher_.prefetch(hashes[i - first]);
  }
  for (const bool isRecordHere : {false, true})
    for (std::uint32_t i = first; i < end; ++i) {
      const std::uint32_t other = matcher_.peek(hashes[i - first]);
      if (other == Matcher::none) continue;
      if (isRecordHere) __builtin_prefetch(recordOf(other).row);
      else __builtin_prefetch(&recordOf(other));
    }
  for (std::uint32_t i = first; i < end; ++i) joinOne(i, hashes[i - first], sameGeneration);
}

void Changes::joinOne(std::uint32_t number, std::uint64_t hash, bool sameGeneration) {
  const Record& record = recordOf(number);
  const bool came = number >= gone_.size();
  const auto sameKey = [&](std::uint32_t other) {
    return std::memcmp(recordOf(other).row, record.row, keyBytes_) == 0;
  };
  const std::uint32_t other = matcher_.findOrEnter(hash, number, sameKey);
  if (other == Matcher::none) {
    fates_[number] = came ? Fate::changed : Fate::gone;
    return;
  }
  fates_[number] = Fate::counted;
  if (!came) return;
  const Record& before = recordOf(other);
  const bool same = other < gone_.size() && before.sequence == record.sequence &&
                    (sameGeneration || (before.bytes == record.bytes &&
                                        std::memcmp(before.row, record.row, record.bytes) == 0));
  if (!same) fates_[other] = Fate::changed;
  else if (fates_[other] == Fate::gone) fates_[other] = Fate::moved;
}

// ---- Telling ------------------------------------------------------------------------------------

void Changes::tell(const Record& record) {
  keys_->bytes.insert(keys_->bytes.end(), record.row, record.row + keyBytes_);
}

/// Leaves each key from that of number `first` on once.
void Changes::dropRepeats(std::size_t first) {
  KeyList& keys = *keys_;
  matcher_.reset(keys.size() - first);
  std::size_t end = first;
  for (std::size_t i = first; i < keys.size(); ++i) {
    const std::byte* const key = keys[i];
    const auto same = [&](std::uint32_t j) { return std::memcmp(keys[j], key, keyBytes_) == 0; };
    const auto number = static_cast<std::uint32_t>(end);
    const std::uint64_t hash = view_->hash(key, keyBytes_);
    if (matcher_.findOrEnter(hash, number, same) != Matcher::none) continue;
    if (end != i) std::memcpy(keys.bytes.data() + end * keyBytes_, key, keyBytes_);
    ++end;
  }
  keys.bytes.resize(end * keyBytes_);
}

}  // namespace Tarn
