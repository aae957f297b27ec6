#include "platform/tarn/Shadow.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "platform/tarn/LineMatch.h"

namespace Tarn {

namespace {

constexpr auto acquire = std::memory_order_acquire;

constexpr unsigned patientPasses = 16;  // as long what makes no sense may be in transit
constexpr unsigned readAttempts = 64;   // each of them: the word has changed
constexpr std::size_t ahead = 4;        // groups that are on their way from memory
constexpr std::size_t lostLimit = 64;   // segments that are tried again in each update

/// Where a line of memory begins, there or behind it.
Word* inLine(void* memory) {
  constexpr std::uintptr_t line = lineWords * sizeof(Word);
  return reinterpret_cast<Word*>((reinterpret_cast<std::uintptr_t>(memory) + line - 1) / line *
                                 line);
}

}  // namespace

/// As far as a tag tells, which is all but the last of maxDepth bits.
bool Shadow::Range::holds(Word word) const {
  static_assert(tagBits < maxDepth);
  constexpr unsigned missing = maxDepth - tagBits;
  const std::uint64_t first = word >> tagShift << missing;
  return first + (1U << missing) > from && first < to;
}

Shadow::Shadow(const TableView& view, TableView& told, std::size_t keyBytes)
    : view_(&view),
      keyBytes_(keyBytes),
      geometry_{view.pageWords(), view.pageWords() / view.groupsInPage(), 0, 0},
      groups_(view.groupsInPage()),
      told_(told) {}

void Shadow::update(bool everywhere, Changes* changes) {
  const Word seen = state().changes.load(acquire);  // before all that it counts (invariant 5)
  bool mustWalk = everywhere || !isComplete_;
  isComplete_ = true;
  lost_.clear();
  for (unsigned pass = 0; pass < passLimit_; ++pass) {
    const Word structure = state().structure.load(acquire);  // before the entries that it counts
    const bool walked =
        (!mustWalk && structure == structure_) || walk(pass < patientPasses, changes);
    if (changes != nullptr) changes->endPhase();
    const bool compared = everywhere ? compareAll(changes) : compareCounted(changes);
    if (walked && compared) {
      structure_ = structure;
      changes_ = seen;
      if (std::exchange(mustTell_, false)) tell();
      else told_.borrowedRowsAre(rows_);
      return;
    }
    if (changes != nullptr) changes->endPhase();
    mustWalk = true;
    everywhere = false;  // pages whose comparison failed are named no more
  }
  isComplete_ = false;
  giveUpOrphans(changes);
  mustTell_ = false;
  tell();
}

/// Lookups go to the copy as it is now: to the pages that are held. The entries that were read may
/// lead elsewhere when an update had to be given up.
void Shadow::tell() {
  if (entries_.empty()) return;
  constexpr std::uint32_t nowhere = (1U << pageNumberBits) - 1;  // no table has as many pages
  const auto depth = static_cast<unsigned>(std::bit_width(entries_.size()) - 1);
  toldEntries_.assign(entries_.size(), entryOf(nowhere, depth, 0));
  for (const Chunk& chunk : chunks_)
    for (const Page& page : chunk.pages)
      std::fill(toldEntries_.begin() + (page.range.from >> (maxDepth - depth)),
                toldEntries_.begin() + (page.range.to >> (maxDepth - depth)), page.entry);
  told_.borrow(*view_);
  told_.borrowedIs(toldEntries_.data(), depth);
  told_.borrowedRowsAre(rows_);
  for (unsigned number = 0; number < chunks_.size(); ++number)
    if (chunks_[number].shared != nullptr) told_.borrowedChunkIs(number, chunks_[number].words);
}

std::vector<Word> Shadow::words() const {
  std::vector<Word> all;
  for (const Chunk& chunk : chunks_)
    for (std::size_t i = 0; i < chunk.pages.size(); ++i) {
      if (!chunk.pages[i].isHeld()) continue;
      const std::span words(chunk.words + i * geometry_.pageWords, geometry_.pageWords);
      for (const Word word : words)
        if (effective(chunk.pages[i], word) != 0) all.push_back(word);
    }
  return all;
}

void Shadow::count(Word word) {
  const std::uint32_t segment = segmentOf(word);
  if (segment >= named_.size()) named_.resize(segment + 1);
  ++named_[segment];
  ++rows_;
}

void Shadow::uncount(Word word) {
  if (!names(segmentOf(word))) return;
  --named_[segmentOf(word)];
  --rows_;
}

// ---- Pages --------------------------------------------------------------------------------------

/// The chunk of a page; null, and a report, when it is not to be had.
Shadow::Chunk* Shadow::chunkFor(std::uint32_t page) {
  const unsigned number = chunkOf(page);
  Chunk& chunk = chunks_[number];
  if (chunk.shared != nullptr) return &chunk;
  if ((missingChunks_ >> number & 1U) != 0) return nullptr;
  const SharedWord* shared = view_->page(firstPageOf(number));
  if (shared == nullptr) {
    missingChunks_ |= 1U << number;
    isComplete_ = false;
    return nullptr;
  }
  chunk.layout = chunkLayout(geometry_, number);
  chunk.pages.resize(pagesIn(number));
  // Pages that are not in use cost no memory: nobody touches them.
  chunk.memory.reset(std::calloc(chunk.layout.words + lineWords - 1, sizeof(Word)));
  if (chunk.memory == nullptr) throw std::bad_alloc();
  chunk.words = inLine(chunk.memory.get());
  chunk.shared = shared;
  return &chunk;
}

Shadow::Place Shadow::place(std::uint32_t page) {
  const unsigned number = chunkOf(page);
  Chunk& chunk = chunks_[number];
  const std::size_t at = page - firstPageOf(number);
  const std::size_t words = at * geometry_.pageWords;
  const std::size_t counters = chunk.layout.counters + at * groups_;
  const std::size_t summary = chunk.layout.summaries + at / summaryPages;
  return {&chunk.pages[at],      chunk.words + words,  chunk.words + counters,
          chunk.words + summary, chunk.shared + words, chunk.shared + counters,
          chunk.shared + summary};
}

/// Whether the directory still leads to a page: then what was read of it before this call is good
/// (invariant 4). Before a page is used again each entry that named it gets another version.
bool Shadow::stillNames(const Page& page) const {
  const TableView::Directory directory = view_->directory();
  const std::size_t first = page.range.from >> (maxDepth - directory.depth);
  return directory.entries[first].load(acquire) == page.entry;
}

// ---- Pages that kept their place ----------------------------------------------------------------

bool Shadow::compareAll(Changes* changes) {
  bool all = true;
  for (unsigned number = 0; number < chunks_.size(); ++number)
    for (std::uint32_t i = 0; i < chunks_[number].pages.size(); ++i)
      if (chunks_[number].pages[i].isHeld())
        all = comparePage(place(firstPageOf(number) + i), true, changes) && all;
  return all;
}

/// Inlined always: g++ takes a function that does nothing else for one without effect.
[[gnu::always_inline]] inline void Shadow::prefetch(const Chunk& chunk, std::size_t group) const {
  const std::size_t first = group * geometry_.groupWords;
  for (std::size_t i = first; i < first + geometry_.groupWords; i += lineWords) {
    __builtin_prefetch(chunk.shared + i);
    __builtin_prefetch(chunk.words + i, 1);
  }
}

bool Shadow::compareCounted(Changes* changes) {
  bool all = true;
  for (unsigned number = 0; number < chunks_.size(); ++number) {
    if (chunks_[number].shared == nullptr) continue;
    findCounted(chunks_[number]);
    std::uint32_t next = 0;  // pages before that are compared
    for (std::size_t i = 0; i < touched_.size(); ++i) {
      if (i + ahead < touched_.size()) prefetch(chunks_[number], touched_[i + ahead]);
      const std::uint32_t page = touched_[i] / groups_;
      if (page < next) continue;
      next = page + 1;
      if (chunks_[number].pages[page].isHeld())
        all = comparePage(place(firstPageOf(number) + page), false, changes) && all;
    }
  }
  return all;
}

/// The groups of a chunk whose counters changed.
void Shadow::findCounted(Chunk& chunk) {
  touched_.clear();
  const std::size_t groups = chunk.pages.size() * groups_;
  const std::size_t step = std::size_t{summaryPages} * groups_;
  const std::size_t summaries = chunk.layout.summaries;
  for (std::size_t line = 0; line * lineWords * step < groups; ++line) {
    const std::size_t first = summaries + line * lineWords;
    for (unsigned other = otherIn(chunk.shared + first, chunk.words + first); other != 0;
         other &= other - 1) {
      const auto i = static_cast<unsigned>(std::countr_zero(other));
      // Acquire: before the counters of its groups.
      chunk.words[first + i] = chunk.shared[first + i].load(acquire);
      const std::size_t from = (line * lineWords + i) * step;
      findCounted(chunk, from, std::min(from + step, groups));
    }
  }
}

/// The same from one group on, before another; each chunk's counters begin, and end, with a line.
void Shadow::findCounted(const Chunk& chunk, std::size_t from, std::size_t to) {
  const SharedWord* const shared = chunk.shared + chunk.layout.counters;
  const Word* const copy = chunk.words + chunk.layout.counters;
  for (std::size_t line = from; line < to; line += lineWords)
    for (unsigned other = otherIn(shared + line, copy + line); other != 0; other &= other - 1) {
      const std::size_t group = line + static_cast<unsigned>(std::countr_zero(other));
      if (group < to) touched_.push_back(static_cast<std::uint32_t>(group));
    }
}

/// False, and nothing is taken over, when the page was given up meanwhile.
bool Shadow::comparePage(const Place& at, bool all, Changes* changes) {
  counters_.resize(groups_);
  bool isStill = false;
  for (unsigned attempt = 0; attempt < stillAttempts && !isStill; ++attempt) {
    found_.clear();
    for (std::uint32_t group = 0; group < groups_; ++group) {
      counters_[group] = at.sharedCounters[group].load(acquire);  // before its words (invariant 5)
      if (all || counters_[group] != at.counters[group]) collect(at, group);
    }
    for (Difference& one : found_) one.word = reachable(at, one.place, one.word);
    isStill = stoodStill(at, counters_.data());
  }
  if (!found_.empty() && !stillNames(*at.page)) {
    comeBackTo(at, found_.front().place);
    return false;
  }
  if (!isStill) dropTwins(at);
  std::ranges::copy(counters_, at.counters);
  for (const Difference& one : found_) accept(at, one, changes);
  if (changes != nullptr) changes->boundary();
  return true;
}

/// Whether a page was not written since its counters were read, but for one word at most, which is
/// not yet counted: then what was read meanwhile is the page as it was at one moment, in which no
/// key stands twice (invariant 2).
bool Shadow::stoodStill(const Place& at, const Word* counters) const {
  for (std::uint32_t group = 0; group < groups_; ++group)
    if (at.sharedCounters[group].load(acquire) != counters[group]) return false;
  return true;
}

/// Of the words of one key, which went and came while the page was read, leaves that of the last
/// write, as if the others had not been reached.
void Shadow::dropTwins(const Place& at) {
  std::vector<Difference> words;
  for (std::uint32_t i = 0; i < geometry_.pageWords; ++i) words.push_back({i, at.words[i]});
  for (const Difference& one : found_) words[one.place].word = one.word;
  std::erase_if(words, [&](const auto& one) { return effective(*at.page, one.word) == 0; });
  std::ranges::sort(words, {}, [](const Difference& one) { return one.word; });
  for (std::size_t i = 1; i < words.size(); ++i) {
    for (std::size_t j = i; j-- > 0 && !tagsDiffer(words[j].word, words[i].word);) {
      const Record a = view_->uncheckedRecord(words[i].word);
      const Record b = view_->uncheckedRecord(words[j].word);
      if (std::min(a.bytes, b.bytes) < keyBytes_ || std::memcmp(a.row, b.row, keyBytes_) != 0)
        continue;
      found_.push_back({words[a.sequence < b.sequence ? i : j].place, unreachedWord});
    }
  }
}

/// The hot loop of a comparison. What differs is loaded once more, once: it may change again.
void Shadow::collect(const Place& at, std::uint32_t group) {
  const std::uint32_t first = group * geometry_.groupWords;
  for (std::uint32_t line = first; line < first + geometry_.groupWords; line += lineWords)
    for (unsigned other = otherIn(at.sharedWords + line, at.words + line); other != 0;
         other &= other - 1) {
      const std::uint32_t place = line + static_cast<std::uint32_t>(std::countr_zero(other));
      found_.push_back({place, at.sharedWords[place].load(acquire)});
    }
  std::atomic_thread_fence(acquire);  // counters that are looked at next are loaded next
}

void Shadow::accept(const Place& at, const Difference& difference, Changes* changes) {
  Word& copy = at.words[difference.place];
  const Word before = effective(*at.page, copy);
  const Word now = effective(*at.page, difference.word);
  if (now != 0) count(now);
  if (before != 0) uncount(before);
  copy = difference.word;
  if (copy == unreachedWord) comeBackTo(at, difference.place);
  if (changes != nullptr && before != now) changes->replaced(before, now);
}

// ---- Words --------------------------------------------------------------------------------------

/// A word that can be followed from now on, as long as it stands in the copy. A segment goes only
/// after the last word that names it (invariant 6): when there is none the word is read again.
Word Shadow::reachable(const Place& at, std::uint32_t place, Word word) {
  for (unsigned attempt = 0; attempt < readAttempts; ++attempt) {
    if (effective(*at.page, word) == 0) {
      if (word > deletedWord && !namesRecord(word)) view_->record(word);  // reports it
      return word;
    }
    if (isReachable(word)) return word;
    const Word before = std::exchange(word, at.sharedWords[place].load(acquire));
    if (word == before) break;
  }
  if (lost_.size() < lostLimit && lost_.insert(segmentOf(word)).second && stillNames(*at.page))
    view_->record(word);  // reports it
  return unreachedWord;
}

bool Shadow::isReachable(Word word) const {
  if (offsetOf(word) + sizeof(RecordHeader) <= view_->segmentBytes(segmentOf(word))) return true;
  if (lost_.size() >= lostLimit || lost_.contains(segmentOf(word))) return false;
  return view_->haveSegment(word);
}

/// The next update looks at the group of that place again.
void Shadow::comeBackTo(const Place& at, std::uint32_t place) {
  const std::uint32_t group = place / geometry_.groupWords;
  at.counters[group] = ~at.sharedCounters[group].load(acquire);
  *at.summary = ~at.sharedSummary->load(acquire);
  isComplete_ = false;
}

}  // namespace Tarn
