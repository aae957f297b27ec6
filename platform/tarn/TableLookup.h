/// How a view finds the record of a key: all that is inlined into whoever looks up. Comes with
/// TableView.h, which declares and documents these functions.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/tarn/Format.h"
#include "platform/tarn/LineMatch.h"
#include "platform/tarn/TableView.h"

namespace Tarn {

/// Searches one page; whether a whole record of the key was met, then `found` is it.
template <std::size_t keyBytes>
inline bool TableView::probe(const std::byte* key, std::uint64_t hash, Word entry,
                             const SharedWord* words, Record* found) const {
  std::uint32_t at = lineOf(hash, ownDepthOf(entry), pageShift_);
  for (std::uint32_t lines = (pageMask_ + 1) / lineWords; lines != 0; --lines) {
    const SharedWord* const line = words + at;
    for (unsigned tagged = taggedIn(line, hash); tagged != 0; tagged &= tagged - 1)
      if (take<keyBytes>(key, hash, line[std::countr_zero(tagged)], found)) [[likely]]
        return true;
    if (equalIn(line, 0) != 0) [[likely]]
      return false;
    at = (at + lineWords) & pageMask_;
  }
  return false;
}

/// Whether a word names a whole record of the key, then `found` is it.
template <std::size_t keyBytes>
inline bool TableView::take(const std::byte* key, std::uint64_t hash, const SharedWord& at,
                            Record* found) const {
  Word word = at.load(std::memory_order_acquire);  // pairs with the store of IndexWriter::store
  while (!tagsDiffer(word, hash)) {
    std::uint32_t check = 0;
    const Record record = inside(word, &check);
    // The checksum first: of a damaged record nobody knows whether it is the one.
    if (record && isWhole(record, check)) [[likely]] {
      if (record.bytes < keyBytes || std::memcmp(record.row, key, keyBytes) != 0) return false;
      *found = record;
      return true;
    }
    if (!namesRecord(word) || !mend(at, word)) return false;
    word = at.load(std::memory_order_acquire);
  }
  return false;
}

/// The record of a word, if it is whole and of that key. When the size of rows is known nothing but
/// the result depends on what is loaded from the record.
template <std::size_t keyBytes, std::uint32_t rowBytes>
inline Record TableView::whole(Word word, const std::byte* key) const {
  const Slot& at = slot(segmentOf(word));
  const std::uint64_t offset = offsetOf(word);
  if (offset + sizeof(RecordHeader) + rowBytes > at.size) [[unlikely]]
    return {};
  if constexpr (rowBytes > fetchedBytes) prefetchRow<rowBytes>(at.bytes + offset);
  RecordHeader header;
  std::memcpy(&header, at.bytes + offset, sizeof header);
  const std::byte* const row = at.bytes + offset + sizeof header;
  if constexpr (rowBytes != 0) {
    if (header.bytes != rowBytes) [[unlikely]]
      return {};
  } else {
    if (header.bytes < keyBytes || header.bytes > at.size - offset - sizeof header) [[unlikely]]
      return {};
  }
  const std::uint32_t bytes = rowBytes != 0 ? rowBytes : header.bytes;
  if (std::memcmp(row, key, keyBytes) != 0 ||
      checkRecord(seed_, header.sequence, row, bytes) != header.check) [[unlikely]]
    return {};
  return {row, bytes, header.sequence};
}

/// What nearly every lookup is: the first word with the tag in the first line is the one, or there
/// is none. Short, so that the processor is at the next lookups while memory is on its way.
template <std::size_t keyBytes, std::uint32_t rowBytes>
[[gnu::always_inline]] inline Record TableView::find(const std::byte* key,
                                                     std::uint64_t hash) const {
  const Directory directory = this->directory();
  const Word entry =
      directory.entries[prefixOf(hash, directory.depth)].load(std::memory_order_acquire);
  if (const SharedWord* const words = page(pageOf(entry))) [[likely]] {
    const SharedWord* const line = words + lineOf(hash, ownDepthOf(entry), pageShift_);
    if (const unsigned tagged = taggedIn(line, hash)) {
      // Acquire: pairs with the store of IndexWriter::store.
      const Word word = line[std::countr_zero(tagged)].load(std::memory_order_acquire);
      const Record record = whole<keyBytes, rowBytes>(word, key);
      if (record && !isRetired()) [[likely]]
        return record;
    }
  }
  return findThoroughly<keyBytes>(key, hash);
}

template <std::size_t keyBytes>
[[gnu::noinline]] Record TableView::findThoroughly(const std::byte* key, std::uint64_t hash) const {
  Record found;
  for (;;) {
    const Directory directory = this->directory();
    const SharedWord& at = directory.entries[prefixOf(hash, directory.depth)];
    const Word entry = at.load(std::memory_order_acquire);
    const SharedWord* words = page(pageOf(entry));
    const bool met = words != nullptr && probe<keyBytes>(key, hash, entry, words, &found);
    if (isRetired() || (suspect_ != 0 && isReplaced())) [[unlikely]] {
      suspect_ = 0;
      const TableView* const next = successor();
      return next == nullptr ? found : next->find<keyBytes>(key);
    }
    if (met && suspect_ == 0) [[likely]]
      return found;
    // Nothing in a page that the directory no longer names tells nothing (invariant 4). Entries
    // carry versions, and the writer makes progress each time, so this ends.
    if (this->directory().entries == directory.entries &&
        at.load(std::memory_order_acquire) == entry) [[likely]] {
      if (suspect_ != 0) [[unlikely]]
        convict();
      return found;
    }
    suspect_ = 0;
  }
}

template <std::size_t keyBytes, std::uint32_t rowBytes>
void TableView::findBatch(const std::byte* keys, std::size_t count, Record* found) const {
  constexpr std::size_t most = 32;
  std::array<std::uint64_t, most> hashes;
  std::array<const SharedWord*, most> lines;
  for (std::size_t now; count != 0; keys += now * keyBytes, found += now, count -= now) {
    now = std::min(count, most);
    const Directory directory = this->directory();
    for (std::size_t i = 0; i < now; ++i) {
      hashes[i] = hashBytes(seed_, keys + i * keyBytes, keyBytes);
      const Word entry =
          directory.entries[prefixOf(hashes[i], directory.depth)].load(std::memory_order_relaxed);
      const SharedWord* words = page(pageOf(entry));
      lines[i] = nullptr;
      if (words == nullptr) continue;
      lines[i] = words + lineOf(hashes[i], ownDepthOf(entry), pageShift_);
      __builtin_prefetch(lines[i]);
    }
    for (std::size_t i = 0; i < now; ++i) {
      if (lines[i] == nullptr) continue;
      // The first word with the tag is nearly always the one.
      const unsigned tagged = taggedIn(lines[i], hashes[i]);
      if (tagged == 0) continue;
      prefetch(lines[i][std::countr_zero(tagged)].load(std::memory_order_relaxed));
    }
    for (std::size_t i = 0; i < now; ++i)
      found[i] = find<keyBytes, rowBytes>(keys + i * keyBytes, hashes[i]);
  }
}

}  // namespace Tarn
