#include "platform/tarn/TableView.h"

#include <cinttypes>
#include <cstdio>

namespace Tarn {

namespace {

constexpr int mapAttempts = 64;            // each of them means that the writer made progress
constexpr std::size_t reportLimit = 1000;  // distinct reports of a view; enough to know

/// What a view of nothing views: a directory of one entry, and its page, which is empty.
struct Nothing {
  alignas(64) HeadState state{};
  alignas(64) SharedWord entry{entryOf(0, 0, 0)};
  alignas(64) SharedWord words[8] = {};
};
Nothing nothing;

const SharedWord* wordsOf(const Mapping& mapping) {
  return reinterpret_cast<const SharedWord*>(mapping.data());
}

}  // namespace

const TableView::Block TableView::noSlots{};

bool isSegment(const Mapping& mapping, std::uint64_t generation, std::uint32_t number) {
  if (mapping.size < segmentHeaderBytes) return false;
  SegmentHeader header;
  std::memcpy(&header, mapping.data(), sizeof header);
  return std::memcmp(header.magic, segmentMagic, sizeof segmentMagic) == 0 &&
         header.generation == generation && header.number == number;
}

TableView::TableView() {
  blocks_.fill(&noSlots);
  clear();
}

TableView::~TableView() { clear(); }

void TableView::clear() {
  for (auto& [segment, mapping] : segments_) let(std::move(mapping));
  segments_.clear();
  for (const Block*& block : blocks_) {
    if (block != &noSlots) delete block;
    block = &noSlots;
  }
  if (successor_ && pins_ != 0) pinnedSuccessors_.push_back(std::move(successor_));
  successor_.reset();
  chunks_.fill({});
  directories_.clear();
  head_ = {};
  storage_ = nullptr;
  lender_ = nullptr;
  slots_ = blocks_.data();
  state_ = &nothing.state;
  directory_ = {&nothing.entry, 0};
  setChunk(0, nothing.words);
  seed_ = 0;
  pageMask_ = 7;
  pageShift_ = 61;
  pageByteBits_ = 6;
  groupsInPage_ = 1;
  suspect_ = 0;
}

void TableView::headIs(const Storage& storage, Access access, Mapping head, Report report) {
  headOnlyIs(storage, access, std::move(head), std::move(report));
  mapDirectory(state_->directory.load(std::memory_order_acquire));  // if not, then when needed
}

void TableView::borrow(const TableView& lender) {
  clear();
  if (!lender.isAttached()) return;
  // A head of its own: its depth and its counts are those of the copy, and nobody retires it.
  auto copy = std::shared_ptr<std::byte>(
      new (std::align_val_t{64}) std::byte[headBytes]{},
      [](std::byte* at) { ::operator delete[](at, std::align_val_t{64}); });
  std::memcpy(copy.get(), &lender.fixed_, sizeof(HeadFixed));
  headMovedTo({std::move(copy), headBytes});
  report_ = lender.report_;
  geometryIs(fixed());
  lender_ = &lender;
  slots_ = lender.slots_;
}

void TableView::borrowedRowsAre(std::size_t rows) {
  ownState().rows.store(rows, std::memory_order_relaxed);
}

/// Of the head that a borrowing view made for itself.
HeadState& TableView::ownState() {
  return *reinterpret_cast<HeadState*>(head_.data() + headStateAt);
}

void TableView::borrowedIs(const Word* entries, unsigned depth) {
  ownState().directory.store(depth, std::memory_order_relaxed);
  directory_ = {sharedWords(entries), depth};
}

void TableView::headMovedTo(Mapping head) {
  head_ = std::move(head);
  std::memcpy(&fixed_, head_.data(), sizeof fixed_);
  state_ = reinterpret_cast<const HeadState*>(head_.data() + headStateAt);
}

void TableView::headOnlyIs(const Storage& storage, Access access, Mapping head, Report report) {
  clear();
  storage_ = &storage;
  access_ = access;
  report_ = std::move(report);
  headMovedTo(std::move(head));
  geometryIs(fixed());
  setChunk(0, nullptr);
  directory_ = {nullptr, maxDepth + 1};
}

void TableView::geometryIs(const HeadFixed& fixed) {
  seed_ = fixed.seed;
  const Geometry geometry = fixed.geometry;
  pageMask_ = geometry.pageWords - 1;
  pageShift_ = 64U - static_cast<unsigned>(std::countr_zero(geometry.pageWords));
  pageByteBits_ = 64 - pageShift_ + 3;
  groupsInPage_ = geometry.pageWords / geometry.groupWords;
}

void TableView::take(TableView& other) {
  clear();
  std::swap(blocks_, other.blocks_);
  std::swap(chunks_, other.chunks_);
  std::swap(segments_, other.segments_);
  std::swap(directories_, other.directories_);
  std::swap(directory_, other.directory_);
  std::swap(state_, other.state_);
  std::swap(head_, other.head_);
  fixed_ = other.fixed_;
  storage_ = other.storage_;
  access_ = other.access_;
  seed_ = other.seed_;
  pageMask_ = other.pageMask_;
  pageShift_ = other.pageShift_;
  pageByteBits_ = other.pageByteBits_;
  groupsInPage_ = other.groupsInPage_;
  report_ = other.report_;
  other.clear();
}

std::string TableView::tableName() const { return head_ ? std::string(fixed().name) : ""; }

// ---- Directory and pages ------------------------------------------------------------------------

/// The directory of another depth; while it cannot be read, the one before, or one of nothing.
TableView::Directory TableView::laterDirectory(Word depth) const {
  for (int attempt = 0; attempt < mapAttempts && !mapDirectory(depth); ++attempt) {
    const Word now = state_->directory.load(std::memory_order_acquire);
    if (now == depth || now == directory_.depth) break;
    depth = now;
  }
  return directory_.entries != nullptr ? directory_ : Directory{&nothing.entry, 0};
}

bool TableView::mapDirectory(Word depth) const {
  if (depth > maxDepth) {
    report("damage: a directory of depth " + std::to_string(depth));
    return false;
  }
  const auto bits = static_cast<unsigned>(depth);
  Opened opened = storage_->open(directoryName(fixed().name, fixed().generation, bits), access_);
  if (!opened.mapping) {
    // One that was superseded meanwhile is gone: laterDirectory() looks again.
    if (opened.error != ENOENT || state_->directory.load(std::memory_order_acquire) == depth)
      reportUnlessReplaced(opened.text);
    return false;
  }
  if (opened.mapping.size < sizeof(Word) << bits) {
    report("damage: the directory of depth " + std::to_string(bits) + " is cut short");
    return false;
  }
  directoryIs(bits, std::move(opened.mapping));
  return true;
}

void TableView::directoryIs(unsigned depth, Mapping mapping) const {
  directory_ = {wordsOf(mapping), depth};
  directories_.push_back(std::move(mapping));
}

const SharedWord* TableView::laterPage(std::uint32_t number) const {
  const unsigned chunk = chunkOf(number);
  if (storage_ == nullptr) return nullptr;
  Opened opened = storage_->open(chunkName(fixed().name, fixed().generation, chunk), access_);
  if (!opened.mapping) {
    reportUnlessReplaced(opened.text);
    return nullptr;
  }
  if (opened.mapping.size < chunkLayout(fixed().geometry, chunk).words * sizeof(Word)) {
    report("damage: chunk " + std::to_string(chunk) + " of the index is cut short");
    return nullptr;
  }
  chunkIs(chunk, std::move(opened.mapping));
  return page(number);
}

void TableView::chunkIs(unsigned chunk, Mapping mapping) const {
  setChunk(chunk, wordsOf(mapping));
  chunks_[chunk].mapping = std::move(mapping);
}

void TableView::setChunk(unsigned chunk, const SharedWord* words) const {
  const auto at = reinterpret_cast<std::uintptr_t>(words);
  chunks_[chunk] = {words, at - (std::uintptr_t{firstPageOf(chunk)} << pageByteBits_), {}};
}

const SharedWord* TableView::groupCounters(std::uint32_t number) const {
  const unsigned chunk = chunkOf(number);
  return chunks_[chunk].words + chunkLayout(fixed().geometry, chunk).counters +
         std::size_t{number - firstPageOf(chunk)} * groupsInPage_;
}

const SharedWord* TableView::summaryCounter(std::uint32_t number) const {
  const unsigned chunk = chunkOf(number);
  return chunks_[chunk].words + chunkLayout(fixed().geometry, chunk).summaries +
         (number - firstPageOf(chunk)) / summaryPages;
}

// ---- Records ------------------------------------------------------------------------------------

Record TableView::record(Word word) const {
  std::uint32_t check = 0;
  if (namesRecord(word) && haveSegment(word)) {
    const Record found = inside(word, &check);
    if (found && isWhole(found, check)) return found;
  }
  suspect_ = word;
  convict();
  return {};
}

bool TableView::mend(const SharedWord& at, Word word) const {
  for (int attempt = 0; attempt < mapAttempts; ++attempt) {
    if (mapSegment(segmentOf(word))) return true;
    // A segment goes only after the last word that names it (invariant 6).
    if (at.load(std::memory_order_acquire) != word) return true;
    if (slot(segmentOf(word)).bytes != nullptr) break;
  }
  suspect_ = word;
  return false;
}

void TableView::convict() const {
  const Word word = std::exchange(suspect_, 0);
  if (isReplaced()) return;  // its files go, which is no damage
  if (convicted_.size() >= reportLimit || !convicted_.insert(word).second) return;
  char text[160];
  std::snprintf(text, sizeof text,
                "damage: no whole row in segment %" PRIu32 " at offset %" PRIu32
                ", of a key whose hash begins with %07" PRIx64,
                segmentOf(word), offsetOf(word), word >> tagShift);
  if (report_) report_(tableName() + ": " + text);
}

bool TableView::mapSegment(std::uint32_t segment) const {
  if (storage_ == nullptr || slot(segment).bytes != nullptr) return false;
  const std::string name = segmentName(fixed().name, fixed().generation, segment);
  Opened opened = storage_->open(name, access_);
  if (!opened.mapping) {
    if (opened.error != ENOENT) report(opened.text);
    return false;
  }
  if (isSegment(opened.mapping, fixed().generation, segment)) {
    segmentIs(segment, std::move(opened.mapping));
    return true;
  }
  report("damage: " + name + " is no such segment");
  return false;
}

TableView::Slot& TableView::madeSlot(std::uint32_t segment) const {
  const Block*& block = blocks_[segment >> blockBits];
  if (block == &noSlots) block = new Block{};
  return const_cast<Block&>(*block)[segment & ((1U << blockBits) - 1)];
}

void TableView::segmentIs(std::uint32_t segment, Mapping mapping) const {
  madeSlot(segment) = {mapping.data(), mapping.size};
  segments_.emplace_back(segment, std::move(mapping));
}

const Mapping* TableView::segmentMapping(std::uint32_t segment) const {
  const auto at = std::ranges::find(segments_, segment, [](const auto& one) { return one.first; });
  return at == segments_.end() ? nullptr : &at->second;
}

void TableView::segmentDel(std::uint32_t segment) const {
  const auto at = std::ranges::find(segments_, segment, [](const auto& one) { return one.first; });
  if (at == segments_.end()) return;
  madeSlot(segment) = {};
  let(std::move(at->second));
  *at = std::move(segments_.back());
  segments_.pop_back();
}

// ---- Keeping ------------------------------------------------------------------------------------

void TableView::let(Mapping mapping) const {
  if (pins_ != 0) pinned_.push_back(std::move(mapping));
  else pinned_.clear();
}

void TableView::tidy(const std::function<bool(std::uint32_t segment)>& keep) const {
  if (pins_ != 0) return;
  pinned_.clear();
  pinnedSuccessors_.clear();
  std::vector<std::uint32_t> gone;
  for (const auto& [segment, mapping] : segments_)
    if (!(keep && keep(segment)) &&
        !storage_->isThere(segmentName(fixed().name, fixed().generation, segment), mapping))
      gone.push_back(segment);
  for (const std::uint32_t segment : gone) segmentDel(segment);
}

bool TableView::isDamaged() const {
  if (storage_ == nullptr) return false;
  const auto damaged = [this](const Mapping& one) { return one && storage_->isDamaged(one); };
  return damaged(head_) || std::ranges::any_of(directories_, damaged) ||
         std::ranges::any_of(chunks_, [&](const Chunk& one) { return damaged(one.mapping); }) ||
         std::ranges::any_of(segments_, [&](const auto& one) { return damaged(one.second); });
}

void TableView::reportUnlessReplaced(const std::string& what) const {
  if (!isReplaced()) report(what);
}

void TableView::report(const std::string& what) const {
  if (said_.size() < reportLimit && said_.insert(what).second && report_)
    report_(tableName() + ": " + what);
}

// ---- Generations --------------------------------------------------------------------------------

bool TableView::isReplaced() const {
  return storage_ != nullptr && (isRetired() || !storage_->isThere(headName(fixed().name), head_));
}

const TableView* TableView::successor() const {
  if (successor_) return successor_.get();
  Opened opened = storage_->open(headName(fixed().name), access_);
  if (!opened.mapping) return nullptr;
  TableShape same;
  same.schemaHash = fixed().schemaHash;
  same.keyBytes = fixed().keyBytes;
  same.rowBytes = fixed().rowBytes;
  same.maxRowBytes = fixed().maxRowBytes;
  const auto* bytes = reinterpret_cast<const char*>(opened.mapping.data());
  if (!headProblem({bytes, opened.mapping.size}, same).empty()) return nullptr;
  auto next = std::make_unique<TableView>();
  next->headIs(*storage_, access_, std::move(opened.mapping), report_);
  if (next->fixed().generation == fixed().generation) return nullptr;
  successor_ = std::move(next);
  return successor_.get();
}

const TableView& TableView::latest() const {
  const TableView* const next = isReplaced() ? successor() : nullptr;
  return next == nullptr ? *this : next->latest();
}

}  // namespace Tarn
