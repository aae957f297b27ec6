#include "platform/tarn/IndexWriter.h"

#include <algorithm>
#include <cstring>

#include "platform/tarn/TableWriter.h"

namespace Tarn {

namespace {

constexpr auto relaxed = std::memory_order_relaxed;
constexpr auto release = std::memory_order_release;

constexpr std::uint32_t onePage = ~0U;
constexpr std::uint32_t noPlace = ~0U;
/// A directory of more entries for each page, and this many more, means that hashes do not spread.
constexpr std::size_t entriesForEachPage = 64;
constexpr std::size_t entriesAnyway = 1024;
constexpr unsigned firstDepthLimit = 20;

unsigned bitsOf(std::uint32_t powerOfTwo) {
  return static_cast<unsigned>(std::countr_zero(powerOfTwo));
}

SharedWord* sharedWords(const Mapping& mapping) {
  return reinterpret_cast<SharedWord*>(mapping.data());
}

}  // namespace

IndexWriter::IndexWriter(Storage& storage, const TableView& view, const HeadFixed& fixed,
                         HeadState& state)
    : storage_(storage),
      view_(&view),
      fixed_(fixed),
      state_(&state),
      pageBits_(bitsOf(fixed.geometry.pageWords)),
      groupBits_(bitsOf(fixed.geometry.groupWords)),
      usedLimit_(fixed.geometry.pageWords / 8 * 7),
      changes_(state.changes.load(relaxed)),
      structure_(state.structure.load(relaxed)) {}

// ---- Finding ------------------------------------------------------------------------------------

bool IndexWriter::locate(const std::byte* key, std::size_t keyBytes, std::uint64_t hash,
                         Spot& spot) const {
  const Word entry = entries_[prefixOf(hash, depth_)].load(relaxed);
  spot.page = pageOf(entry);
  spot.words = words(spot.page);
  spot.record = {};
  std::uint32_t line = lineOf(hash, ownDepthOf(entry), 64 - pageBits_);
  std::uint32_t free = noPlace;  // of a row that was deleted
  for (std::uint32_t step = 0; step < fixed_.geometry.pageWords; step += lineWords) {
    const SharedWord* const words = spot.words + line;
    for (unsigned tagged = taggedIn(words, hash); tagged != 0; tagged &= tagged - 1) {
      spot.place = line + static_cast<std::uint32_t>(std::countr_zero(tagged));
      spot.word = spot.words[spot.place].load(relaxed);
      const Record record = view_->uncheckedRecord(spot.word);
      if (record.bytes < keyBytes || std::memcmp(record.row, key, keyBytes) != 0) continue;
      spot.record = record;
      return true;
    }
    if (free == noPlace)
      if (const unsigned deleted = equalIn(words, deletedWord))
        free = line + static_cast<std::uint32_t>(std::countr_zero(deleted));
    if (const unsigned empty = equalIn(words, 0)) {
      const bool mayUse = pages_[spot.page].used < usedLimit_;
      if (free == noPlace && mayUse)
        free = line + static_cast<std::uint32_t>(std::countr_zero(empty));
      break;
    }
    line = (line + lineWords) & (fixed_.geometry.pageWords - 1);
  }
  if (free == noPlace) return false;
  spot.place = free;
  spot.word = spot.words[free].load(relaxed);
  return true;
}

IndexWriter::Spot IndexWriter::locate(Word word, std::uint64_t hash) const {
  const Word entry = entries_[prefixOf(hash, depth_)].load(relaxed);
  Spot spot{words(pageOf(entry)), pageOf(entry), 0, word, {}};
  std::uint32_t line = lineOf(hash, ownDepthOf(entry), 64 - pageBits_);
  for (std::uint32_t step = 0; step < fixed_.geometry.pageWords; step += lineWords) {
    if (const unsigned equal = equalIn(spot.words + line, word)) {
      spot.place = line + static_cast<std::uint32_t>(std::countr_zero(equal));
      return spot;
    }
    if (equalIn(spot.words + line, 0) != 0) break;
    line = (line + lineWords) & (fixed_.geometry.pageWords - 1);
  }
  return {};
}

void IndexWriter::prefetch(std::uint64_t hash) const {
  const Word entry = entries_[prefixOf(hash, depth_)].load(relaxed);
  const std::uint32_t page = pageOf(entry);
  const std::uint32_t line = lineOf(hash, ownDepthOf(entry), 64 - pageBits_);
  __builtin_prefetch(words(page) + line, 1);
  __builtin_prefetch(&counter(page, line), 1);
}

Word IndexWriter::firstTagged(std::uint64_t hash) const {
  const Word entry = entries_[prefixOf(hash, depth_)].load(relaxed);
  const SharedWord* const line =
      words(pageOf(entry)) + lineOf(hash, ownDepthOf(entry), 64 - pageBits_);
  const unsigned tagged = taggedIn(line, hash);
  return tagged == 0 ? 0 : line[std::countr_zero(tagged)].load(relaxed);
}

void IndexWriter::each(const std::function<void(const Spot& spot)>& visit) const {
  for (std::uint32_t page = 0; page < pages_.size(); ++page) {
    if (!pages_[page].inUse) continue;
    Spot spot{words(page), page, 0, 0, {}};
    for (; spot.place < fixed_.geometry.pageWords; ++spot.place) {
      spot.word = spot.words[spot.place].load(relaxed);
      if (namesRecord(spot.word)) visit(spot);
    }
  }
}

// ---- Storing ------------------------------------------------------------------------------------

/// The one place where rows come, change and go (invariants 3 and 5).
void IndexWriter::store(const Spot& spot, Word word) {
  PageState& page = pages_[spot.page];
  if (spot.word == 0) ++page.used;
  const int more = int{namesRecord(word)} - int{namesRecord(spot.word)};
  page.live = static_cast<std::uint16_t>(page.live + more);
  rows_ = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(rows_) + more);
  spot.words[spot.place].store(word, release);  // pairs with the load of TableView::probe
  bump(spot.page, spot.place);
  changed();
}

SharedWord& IndexWriter::counter(std::uint32_t page, std::uint32_t place) const {
  const unsigned number = chunkOf(page);
  const std::size_t at = page - firstPageOf(number);
  return chunks_[number].counters[(at << (pageBits_ - groupBits_)) + (place >> groupBits_)];
}

void IndexWriter::bump(std::uint32_t page, std::uint32_t place) {
  SharedWord& group = counter(page, place);
  group.store(group.load(relaxed) + 1, release);
  const unsigned number = chunkOf(page);
  SharedWord& summary = chunks_[number].summaries[(page - firstPageOf(number)) / summaryPages];
  summary.store(summary.load(relaxed) + 1, release);
}

void IndexWriter::restructured() {
  state_->structure.store(++structure_, release);
  changed();
}

// ---- Growing ------------------------------------------------------------------------------------

void IndexWriter::makeRoom(std::uint64_t hash) {
  const Word entry = entries_[prefixOf(hash, depth_)].load(relaxed);
  const std::uint32_t old = pageOf(entry);
  const unsigned own = ownDepthOf(entry);
  const bool split = pages_[old].live > fixed_.geometry.pageWords / 8 * 5;
  if (split && own == depth_) doubleDirectory();

  const std::uint32_t low = takePage();
  std::uint32_t high = onePage;
  if (split) {
    try {
      high = takePage();
    } catch (...) {
      giveBack(low);
      throw;
    }
    fill(low, own + 1, old, own, 0);
    fill(high, own + 1, old, own, 1);
  } else {
    fill(low, own, old, own, -1);
  }
  const std::size_t count = std::size_t{1} << (depth_ - own);
  const std::size_t first = prefixOf(hash, depth_) & ~(count - 1);
  switchEntries(first, count, low, high, split ? own + 1 : own);
  giveBack(old);
}

void IndexWriter::switchEntries(std::size_t first, std::size_t count, std::uint32_t low,
                                std::uint32_t high, unsigned depth) {
  state_->intentFirst.store(first, relaxed);
  state_->intentCount.store(count, relaxed);
  state_->intentLow.store(low, relaxed);
  state_->intentHigh.store(high, relaxed);
  state_->intentDepth.store(depth, relaxed);
  state_->intent.store(1, release);  // what it needs stands before it does
  finishIntent();
}

/// Right however often and from wherever it is begun (invariant 7).
void IndexWriter::finishIntent() {
  const std::size_t first = state_->intentFirst.load(relaxed);
  const std::size_t count = state_->intentCount.load(relaxed);
  const auto low = static_cast<std::uint32_t>(state_->intentLow.load(relaxed));
  const auto high = static_cast<std::uint32_t>(state_->intentHigh.load(relaxed));
  const auto depth = static_cast<unsigned>(state_->intentDepth.load(relaxed));
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t page = high != onePage && i >= count / 2 ? high : low;
    entries_[first + i].store(entryOf(page, depth, ++version_), release);
  }
  restructured();
  state_->intent.store(0, release);
}

void IndexWriter::fill(std::uint32_t to, unsigned depth, std::uint32_t from, unsigned fromDepth,
                       int half) {
  const unsigned bitsNeeded = depth + pageBits_;
  for (std::uint32_t i = 0; i < fixed_.geometry.pageWords; ++i) {
    const Word word = words(from)[i].load(relaxed);
    if (!namesRecord(word)) continue;
    const std::uint64_t hash = hashOf(word, bitsNeeded);
    if (half >= 0 && static_cast<int>(hash << fromDepth >> 63) != half) continue;
    fillWord(to, depth, word, hash);
  }
}

void IndexWriter::fillWord(std::uint32_t to, unsigned depth, Word word, std::uint64_t hash) {
  std::uint32_t line = lineOf(hash, depth, 64 - pageBits_);
  for (std::uint32_t step = 0; step < fixed_.geometry.pageWords; step += lineWords) {
    if (const unsigned empty = equalIn(words(to) + line, 0)) {
      words(to)[line + static_cast<std::uint32_t>(std::countr_zero(empty))].store(word, release);
      ++pages_[to].live;
      ++pages_[to].used;
      return;
    }
    line = (line + lineWords) & (fixed_.geometry.pageWords - 1);
  }
}

/// The first bits of the hash of a word's key; those of the tag, as long as they are enough.
std::uint64_t IndexWriter::hashOf(Word word, unsigned bitsNeeded) const {
  if (bitsNeeded <= tagBits) return word;
  const Record record = view_->uncheckedRecord(word);
  if (!record || record.bytes < fixed_.keyBytes) return word;
  return hashBytes(fixed_.seed, record.row, fixed_.keyBytes);
}

void IndexWriter::doubleDirectory() {
  const std::size_t entries = std::size_t{2} << depth_;
  if (depth_ == maxDepth || entries > pagesInUse_ * entriesForEachPage + entriesAnyway)
    throw ResourceException("table " + std::string(fixed_.name) + " in " + storage_.name() +
                            ": the index cannot grow: too many keys with one beginning of the "
                            "hash; remove rows, or make the table anew");
  const SharedWord* before = entries_;
  const unsigned depth = depth_;
  makeDirectory(depth + 1, [before](std::size_t i) { return before[i / 2].load(relaxed); });
  state_->directory.store(depth_, release);
  restructured();
  storage_.remove(directoryName(fixed_.name, fixed_.generation, depth));
  bytes_ -= std::max<std::uint64_t>(sizeof(Word) << depth, headBytes);
}

/// A page of zeros that the directory does not name.
std::uint32_t IndexWriter::takePage() {
  if (freePages_.empty()) makeChunk(chunkCount_);
  const std::uint32_t page = freePages_.back();
  freePages_.pop_back();
  // Release, as a reader that comes from an outdated entry must then see that it is.
  for (std::uint32_t i = 0; i < fixed_.geometry.pageWords; ++i) words(page)[i].store(0, release);
  pages_[page] = {0, 0, true};
  ++pagesInUse_;
  return page;
}

void IndexWriter::giveBack(std::uint32_t page) {
  pages_[page] = {};
  freePages_.push_back(page);
  --pagesInUse_;
}

// ---- Files --------------------------------------------------------------------------------------

void IndexWriter::make(std::size_t rows) {
  const std::size_t wanted = rows * 3 / 2 >> pageBits_;
  const auto depth = std::min(static_cast<unsigned>(std::bit_width(wanted)), firstDepthLimit);
  while (chunkCount_ <= depth) makeChunk(chunkCount_);
  std::ranges::reverse(freePages_);
  std::vector<std::uint32_t> first(std::size_t{1} << depth);
  for (std::uint32_t& page : first) page = takePage();
  makeDirectory(depth, [&](std::size_t i) { return entryOf(first[i], depth, ++version_); });
  state_->directory.store(depth, release);
}

void IndexWriter::makeChunk(unsigned chunk) {
  if (chunk > chunkLimit)
    throw ResourceException("table " + std::string(fixed_.name) + " in " + storage_.name() +
                            ": the index has as many pages as it can have");
  const std::size_t bytes = chunkLayout(fixed_.geometry, chunk).words * sizeof(Word);
  openChunk(chunk, storage_.create(chunkName(fixed_.name, fixed_.generation, chunk), bytes,
                                   [](std::byte*) {}));
  for (std::uint32_t i = pagesIn(chunk); i-- > 0;) freePages_.push_back(firstPageOf(chunk) + i);
}

void IndexWriter::openChunk(unsigned chunk, Mapping mapping) {
  const ChunkLayout layout = chunkLayout(fixed_.geometry, chunk);
  SharedWord* const words = sharedWords(mapping);
  chunks_[chunk] = {words, words + layout.counters, words + layout.summaries};
  bytes_ += mapping.size;
  pages_.resize(firstPageOf(chunk) + pagesIn(chunk));
  chunkCount_ = chunk + 1;
  view_->chunkIs(chunk, std::move(mapping));
}

void IndexWriter::makeDirectory(unsigned depth, const std::function<Word(std::size_t)>& entry) {
  const std::size_t bytes = std::max<std::size_t>(sizeof(Word) << depth, headBytes);
  openDirectory(depth, storage_.create(directoryName(fixed_.name, fixed_.generation, depth), bytes,
                                       [&](std::byte* at) {
                                         auto* words = reinterpret_cast<SharedWord*>(at);
                                         for (std::size_t i = 0; i < std::size_t{1} << depth; ++i)
                                           words[i].store(entry(i), relaxed);
                                       }));
}

void IndexWriter::openDirectory(unsigned depth, Mapping mapping) {
  entries_ = sharedWords(mapping);
  depth_ = depth;
  bytes_ += mapping.size;
  view_->directoryIs(depth, std::move(mapping));
}

void IndexWriter::removeFiles() {
  storage_.remove(directoryName(fixed_.name, fixed_.generation, depth_));
  for (unsigned chunk = 0; chunk < chunkCount_; ++chunk)
    storage_.remove(chunkName(fixed_.name, fixed_.generation, chunk));
}

}  // namespace Tarn
