/// How a writer takes over the index that an earlier one left, at whatever instruction that ended.
#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include "platform/tarn/IndexWriter.h"

namespace Tarn {

namespace {

constexpr auto relaxed = std::memory_order_relaxed;

std::uint64_t versionOf(Word entry) { return entry >> (pageNumberBits + ownDepthBits); }

}  // namespace

Mapping openToAdopt(Storage& storage, const TableView& view, const std::string& file) {
  Opened opened = storage.open(file, Access::write);
  if (opened.mapping || opened.error == ENOENT) return std::move(opened.mapping);
  const bool isNoFileOfOurs =
      opened.error == EBADMSG || opened.error == EFBIG || opened.error == ELOOP;
  if (!isNoFileOfOurs) throw std::system_error(opened.error, std::generic_category(), opened.text);
  view.report("damage: " + opened.text);
  return {};
}

bool IndexWriter::adopt(const std::function<bool(Word word)>& word) {
  adoptChunks();
  if (!adoptDirectory()) return false;
  for (std::size_t at = 0; at < std::size_t{1} << depth_;)
    if (!adoptEntry(at, &at)) return false;
  for (std::uint32_t page = 0; page < pages_.size(); ++page)
    if (pages_[page].inUse) adoptPage(page, word);
    else freePages_.push_back(page);
  removeStrangers();
  // What the last writer changed at its end it may not have counted.
  restructured();
  return true;
}

void IndexWriter::adoptChunks() {
  for (unsigned chunk = 0; chunk <= chunkLimit; ++chunk) {
    const std::string name = chunkName(fixed_.name, fixed_.generation, chunk);
    Mapping mapping = openToAdopt(storage_, *view_, name);
    if (!mapping) return;
    if (mapping.size < chunkLayout(fixed_.geometry, chunk).words * sizeof(Word))
      return view_->report("damage: " + name + " is cut short");
    openChunk(chunk, std::move(mapping));
  }
}

bool IndexWriter::adoptDirectory() {
  const Word depth = state_->directory.load(relaxed);
  if (depth > maxDepth) {
    view_->report("damage: a directory of depth " + std::to_string(depth));
    return false;
  }
  const auto bits = static_cast<unsigned>(depth);
  const std::string name = directoryName(fixed_.name, fixed_.generation, bits);
  Mapping mapping = openToAdopt(storage_, *view_, name);
  if (!mapping || mapping.size < sizeof(Word) << bits) {
    view_->report("damage: there is no whole " + name);
    return false;
  }
  openDirectory(bits, std::move(mapping));
  for (std::size_t i = 0; i < std::size_t{1} << depth_; ++i)
    version_ = std::max(version_, versionOf(entries_[i].load(relaxed)));

  if (state_->intent.load(relaxed) == 0) return true;
  const Word first = state_->intentFirst.load(relaxed);
  const Word count = state_->intentCount.load(relaxed);
  const Word low = state_->intentLow.load(relaxed);
  const Word high = state_->intentHigh.load(relaxed);
  const Word own = state_->intentDepth.load(relaxed);
  const Word size = Word{1} << depth_;
  const bool split = high != 0xffffffffU;
  const bool sane = first < size && count <= size - first && low < pages_.size() &&
                    (!split || high < pages_.size()) && own <= depth_ &&
                    count == (split ? size >> own << 1 : size >> own);
  if (sane) finishIntent();
  else view_->report("damage: a change of the index that was begun makes no sense");
  return sane;
}

/// One page's entries: as many as its depth says, all alike, and none elsewhere.
bool IndexWriter::adoptEntry(std::size_t first, std::size_t* next) {
  const Word entry = entries_[first].load(relaxed);
  const std::uint32_t page = pageOf(entry);
  const unsigned own = ownDepthOf(entry);
  const std::size_t count = own <= depth_ ? std::size_t{1} << (depth_ - own) : 0;
  bool sane = count != 0 && first % count == 0 && page < pages_.size() && !pages_[page].inUse;
  for (std::size_t i = 1; sane && i < count; ++i) {
    const Word other = entries_[first + i].load(relaxed);
    sane = pageOf(other) == page && ownDepthOf(other) == own;
  }
  if (!sane) {
    view_->report("damage: entry " + std::to_string(first) + " of the directory makes no sense");
    return false;
  }
  pages_[page].inUse = true;
  ++pagesInUse_;
  *next = first + count;
  return true;
}

void IndexWriter::adoptPage(std::uint32_t page, const std::function<bool(Word word)>& word) {
  Spot spot{words(page), page, 0, 0, {}};
  for (; spot.place < fixed_.geometry.pageWords; ++spot.place) {
    spot.word = spot.words[spot.place].load(relaxed);
    if (spot.word == 0) continue;
    ++pages_[page].used;
    if (spot.word == deletedWord) continue;
    const bool names = namesRecord(spot.word);
    if (names) {
      ++pages_[page].live;
      ++rows_;
    }
    if (!names || !word(spot.word)) store(spot, deletedWord);
  }
}

void IndexWriter::removeStrangers() {
  for (unsigned depth = 0; depth <= maxDepth; ++depth)
    if (depth != depth_) storage_.remove(directoryName(fixed_.name, fixed_.generation, depth));
}

}  // namespace Tarn
