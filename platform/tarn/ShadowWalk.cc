/// How a Shadow follows the pages that changed their place in the directory.
#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "platform/tarn/Shadow.h"

namespace Tarn {

namespace {

constexpr auto acquire = std::memory_order_acquire;

constexpr unsigned repeatLimit = 1024;  // places of a page besides its first, in one walk
constexpr std::uint32_t noRun = ~0U;

}  // namespace

/// Holds the pages that the directory names now, and no others. False when that must be tried
/// again.
bool Shadow::walk(bool patient, Changes* changes) {
  ++walk_;
  fresh_.clear();
  missingChunks_ = 0;
  if (!findRuns(patient, changes)) return false;
  for (unsigned number = 0; number < chunks_.size(); ++number)
    for (std::uint32_t i = 0; i < chunks_[number].pages.size(); ++i) {
      const Page& page = chunks_[number].pages[i];
      if (page.isHeld() && page.walk != walk_) orphan(place(firstPageOf(number) + i), changes);
    }
  mustTell_ = true;
  return replaceOrphans(changes);
}

bool Shadow::findRuns(bool patient, Changes* changes) {
  const TableView::Directory directory = view_->directory();
  const unsigned shift = maxDepth - directory.depth;
  unsigned repeats = 0;
  bool isWhole = true;
  const Word structure = state().structure.load(acquire);
  bool isSwitching = state().intent.load(acquire) != 0;
  entries_.resize(directory.size());
  for (std::size_t i = 0; i < entries_.size(); ++i)
    entries_[i] = directory.entries[i].load(acquire);
  // What was read while entries changed makes no sense, which is no damage. The writer sets its
  // intent before it switches entries and counts before it clears that.
  isSwitching = state().intent.load(acquire) != 0 || isSwitching;
  const bool hasChanged = state().structure.load(acquire) != structure;
  for (std::size_t i = 0, end = 0; i < entries_.size(); i = end) {
    Run run{entries_[i], {}};
    const std::uint32_t number = pageOf(run.entry);
    for (end = i + 1; end < entries_.size(); ++end)
      if (pageOf(entries_[end]) != number || ownDepthOf(entries_[end]) != ownDepthOf(run.entry))
        break;
    run.range = {static_cast<std::uint32_t>(i << shift), static_cast<std::uint32_t>(end << shift)};
    isWhole = isWhole && run.isWhole();
    if (chunkFor(number) == nullptr) continue;
    if (place(number).page->walk != walk_) meet(run, changes);
    else if (patient || hasChanged) return false;  // it got another place meanwhile
    else if (++repeats <= repeatLimit) meetAgain(run, !isSwitching);
  }
  // In parts pages are named while entries are switched, or after the writer died at that.
  if (!isWhole && !isSwitching) {
    if (patient || hasChanged) return false;
    view_->report("damage: entries of the directory make no sense");
  }
  return true;
}

/// Whether these are all the hashes that its depth tells.
bool Shadow::Run::isWhole() const {
  if (ownDepthOf(entry) > maxDepth) return false;
  const std::uint32_t size = (1U << maxDepth) >> ownDepthOf(entry);
  return range.to - range.from == size && range.from % size == 0;
}

void Shadow::meet(const Run& run, Changes* changes) {
  const Place at = place(pageOf(run.entry));
  Page& page = *at.page;
  page.walk = walk_;
  page.fresh = noRun;
  if (page.isHeld() && page.entry == run.entry && page.range == run.range) return;
  if (page.isHeld()) orphan(at, changes);
  page.fresh = static_cast<std::uint32_t>(fresh_.size());
  fresh_.push_back(run);
}

/// The words of a page tell which of two places is its own; if both have some, all in between is.
void Shadow::meetAgain(const Run& run, bool isDamage) {
  const Place at = place(pageOf(run.entry));
  if (isDamage)
    view_->report("damage: the directory names page " + std::to_string(pageOf(run.entry)) +
                  " twice");
  if (at.page->fresh == noRun) return;
  Run& first = fresh_[at.page->fresh];
  const auto isHome = [&](const Range& range) {
    return std::any_of(at.sharedWords, at.sharedWords + geometry_.pageWords, [&](const auto& one) {
      const Word word = one.load(acquire);
      return namesRecord(word) && range.holds(word);
    });
  };
  if (!isHome(run.range)) return;
  if (isHome(first.range)) first.range.to = run.range.to;
  else first = run;
}

void Shadow::orphan(Place at, Changes* changes) {
  Orphan orphan{at.page->range, {}};
  for (std::uint32_t i = 0; i < geometry_.pageWords; ++i) {
    const Word word = effective(*at.page, at.words[i]);
    if (word == 0) continue;
    if (changes != nullptr) orphan.words.push_back(word);
    else uncount(word);
  }
  if (changes != nullptr) orphans_.push_back(std::move(orphan));
  leave(at);
}

/// Reads the fresh pages in groups, each with the pages in whose place they came: what stood in
/// those and stands in these did not change.
bool Shadow::replaceOrphans(Changes* changes) {
  std::ranges::sort(orphans_, {}, [](const Orphan& orphan) { return orphan.range.from; });
  std::ranges::sort(fresh_, {}, [](const Run& run) { return run.range.from; });
  std::vector<Orphan> left;
  std::size_t o = 0;
  std::size_t f = 0;
  bool all = true;
  while (o < orphans_.size() || f < fresh_.size()) {
    const std::size_t o0 = o;
    const std::size_t f0 = f;
    const bool orphanFirst = f == fresh_.size() ||
                             (o < orphans_.size() && orphans_[o].range.from < fresh_[f].range.from);
    std::uint32_t end = orphanFirst ? orphans_[o++].range.to : fresh_[f++].range.to;
    for (std::size_t met = 0; met != o + f;) {
      met = o + f;
      for (; o < orphans_.size() && orphans_[o].range.from < end; ++o)
        end = std::max(end, orphans_[o].range.to);
      for (; f < fresh_.size() && fresh_[f].range.from < end; ++f)
        end = std::max(end, fresh_[f].range.to);
    }
    const std::span group = std::span(orphans_).subspan(o0, o - o0);
    if (replace(group, std::span(fresh_).subspan(f0, f - f0), changes)) continue;
    all = false;
    std::ranges::move(group, std::back_inserter(left));
  }
  orphans_ = std::move(left);
  return all;
}

/// One group, all of it or nothing.
bool Shadow::replace(std::span<Orphan> orphans, std::span<const Run> runs, Changes* changes) {
  if (!std::ranges::all_of(runs, [this](const Run& run) { return read(run); })) {
    for (const Run& run : runs) leave(place(pageOf(run.entry)));
    return false;
  }
  for (const Run& run : runs) {
    const Place at = place(pageOf(run.entry));
    for (std::uint32_t i = 0; i < geometry_.pageWords; ++i) {
      const Word word = effective(*at.page, at.words[i]);
      if (word == 0) continue;
      count(word);
      if (changes != nullptr) changes->added(word);
    }
  }
  for (const Orphan& orphan : orphans) remove(orphan, changes);
  if (changes != nullptr) changes->boundary();
  return true;
}

/// Takes the page as it was at one moment, if it stands still for long enough. False when it is
/// another's meanwhile.
bool Shadow::read(const Run& run) {
  const Place at = place(pageOf(run.entry));
  at.page->entry = run.entry;
  at.page->range = run.range;
  bool isStill = false;
  for (unsigned attempt = 0; attempt < stillAttempts && !isStill; ++attempt) {
    for (std::uint32_t group = 0; group < groups_; ++group)
      at.counters[group] = at.sharedCounters[group].load(acquire);  // before its words
    for (std::uint32_t i = 0; i < geometry_.pageWords; ++i)
      at.words[i] = reachable(at, i, at.sharedWords[i].load(acquire));
    isStill = stoodStill(at, at.counters);
  }
  if (!stillNames(*at.page)) return false;
  found_.clear();
  if (!isStill) dropTwins(at);
  for (const Difference& one : found_) at.words[one.place] = one.word;
  for (std::uint32_t i = 0; i < geometry_.pageWords; ++i)
    if (at.words[i] == unreachedWord) comeBackTo(at, i);
  return true;
}

void Shadow::leave(const Place& at) const {
  std::fill_n(at.words, geometry_.pageWords, Word{0});
  at.page->range = {};
}

void Shadow::remove(const Orphan& orphan, Changes* changes) {
  for (const Word word : orphan.words) {
    uncount(word);
    if (changes != nullptr) changes->removed(word);
  }
}

/// Nothing came in their place that could be read: their rows count as gone.
void Shadow::giveUpOrphans(Changes* changes) {
  for (const Orphan& orphan : orphans_) remove(orphan, changes);
  orphans_.clear();
}

}  // namespace Tarn
