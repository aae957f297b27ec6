#include "platform/tarn/TableCore.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <random>

#include "platform/tarn/TableWriter.h"

namespace Tarn {

namespace {

constexpr auto relaxed = std::memory_order_relaxed;
constexpr auto release = std::memory_order_release;

constexpr std::uint64_t sequencesAtOnce = 1U << 20;  // are set aside in the head
constexpr std::uint64_t sequenceEnd = ~std::uint64_t{0} - (std::uint64_t{1} << 32);
constexpr std::uint32_t segmentEnd = segmentLimit - 1024;

std::uint64_t randomNumber() {
  std::random_device random;
  return std::uint64_t{random()} << 32 | random();
}

std::uint64_t bootTime() {
  timespec now{};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U +
         static_cast<std::uint64_t>(now.tv_nsec);
}

HeadFixed newFixed(const TableShape& shape, std::uint64_t generation) {
  HeadFixed fixed{};
  std::memcpy(fixed.magic, headMagic, sizeof headMagic);
  fixed.layout = layoutVersion;
  fixed.schemaHash = shape.schemaHash;
  fixed.seed = randomNumber();
  fixed.generation = generation;
  fixed.keyBytes = shape.keyBytes;
  fixed.rowBytes = shape.rowBytes;
  fixed.maxRowBytes = shape.maxRowBytes;
  fixed.geometry = shape.geometry;
  const std::size_t text = std::min(shape.schemaText.size(), schemaTextLimit);
  fixed.schemaTextBytes = static_cast<std::uint32_t>(text);
  shape.name.copy(fixed.name, sizeof fixed.name - 1);
  shape.schemaText.copy(fixed.schemaText, text);
  fixed.check = checkFixed(fixed);
  return fixed;
}

HeadFixed fixedIn(const Mapping& head) {
  HeadFixed fixed;
  std::memcpy(&fixed, head.data(), sizeof fixed);
  return fixed;
}

Mapping privateHead(const HeadFixed& fixed) {
  constexpr std::align_val_t aligned{64};
  auto* bytes = static_cast<std::byte*>(::operator new(headBytes, aligned));
  std::memset(bytes, 0, headBytes);
  std::memcpy(bytes, &fixed, sizeof fixed);
  return {{bytes, [](std::byte* at) { ::operator delete (at, std::align_val_t{64}); }}, headBytes};
}

HeadState* stateIn(const Mapping& head) {
  return reinterpret_cast<HeadState*>(head.data() + headStateAt);
}

}  // namespace

TableCore::TableCore(Storage& storage, TableView& view, const TableShape& shape,
                     std::uint64_t generation, std::size_t initialRows, const Report& report)
    : storage_(storage),
      fixed_(newFixed(shape, generation)),
      head_(privateHead(fixed_)),
      state_(stateIn(head_)),
      view_(&view),
      log_(storage, view, fixed_),
      index_(storage, view, fixed_, *state_),
      pid_(static_cast<std::uint64_t>(::getpid())) {
  view.headOnlyIs(storage, Access::write, head_, report);
  index_.make(initialRows);
}

TableCore::TableCore(Storage& storage, TableView& view, Mapping head, const Report& report)
    : storage_(storage),
      fixed_(fixedIn(head)),
      head_(std::move(head)),
      state_(stateIn(head_)),
      view_(&view),
      log_(storage, view, fixed_),
      index_(storage, view, fixed_, *state_),
      sequence_(state_->sequenceLimit.load(relaxed)),
      sequenceLimit_(sequence_),
      pid_(static_cast<std::uint64_t>(::getpid())) {
  view.headOnlyIs(storage, Access::write, head_, report);
  adoptSegments();
  adopted_ = index_.adopt([this](Word word) { return adoptWord(word); });
  if (!adopted_) return;
  state_->retired.store(0, release);  // the last writer may have died in a renewal
  epoch_ = state_->epoch.load(relaxed) + 1;
  state_->epoch.store(epoch_, release);
  for (const std::uint32_t number : log_.empty()) removeSegment(number);
  stamp(true);
}

// ---- Coming and going ---------------------------------------------------------------------------

void TableCore::publish() {
  state_->epoch.store(epoch_, relaxed);
  stamp(true);
  head_ = storage_.create(headName(fixed_.name), headBytes, [this](std::byte* at) {
    std::memcpy(at, &fixed_, sizeof fixed_);
    std::memcpy(at + headStateAt, static_cast<const void*>(state_), sizeof *state_);
  });
  state_ = stateIn(head_);
  view_->headMovedTo(head_);
  index_.headIs(*state_, *view_);
}

void TableCore::viewIs(TableView& view) {
  view.take(*view_);
  view_ = &view;
  log_.viewIs(view);
  index_.headIs(*state_, view);
}

void TableCore::retiredIs(bool retired) {
  state_->retired.store(retired ? 1 : 0, release);
  index_.restructured();
}

void TableCore::abandon() {
  for (const std::uint32_t number : log_.numbers())
    storage_.remove(segmentName(fixed_.name, fixed_.generation, number));
  index_.removeFiles();
}

void TableCore::adoptSegments() {
  const std::string prefix = segmentName(fixed_.name, fixed_.generation, 0);
  const std::string_view stem = std::string_view(prefix).substr(0, prefix.size() - 1);
  std::uint64_t next = state_->nextSegment.load(relaxed);
  for (const std::string& name : storage_.files()) {
    if (!name.starts_with(stem)) continue;
    std::uint32_t number = segmentLimit;
    const char* const end = name.data() + name.size();
    const auto [stop, error] = std::from_chars(name.data() + stem.size(), end, number);
    if (error != std::errc{} || stop != end || number >= segmentLimit) continue;
    next = std::max<std::uint64_t>(next, number + 1);
    Mapping mapping = openToAdopt(storage_, *view_, name);
    if (!mapping) continue;
    if (!isSegment(mapping, fixed_.generation, number)) {
      view_->report("damage: " + name + " is no such segment");
      continue;
    }
    log_.adopt(number, mapping.size);
    view_->segmentIs(number, std::move(mapping));
  }
  state_->nextSegment.store(std::min<std::uint64_t>(next, segmentLimit), release);
}

/// Rows of one size need not be touched: lookups check them.
bool TableCore::adoptWord(Word word) {
  const std::uint64_t end = offsetOf(word) + recordBytes(fixed_.rowBytes);
  if (fixed_.rowBytes != 0 && log_.knows(segmentOf(word)) &&
      end <= view_->segmentBytes(segmentOf(word))) {
    log_.live(word, recordBytes(fixed_.rowBytes));
    return true;
  }
  const Record record = log_.knows(segmentOf(word)) ? view_->uncheckedRecord(word) : Record{};
  if (!record || !isRowSize(record.bytes)) {
    view_->record(word);  // reports it
    return false;
  }
  log_.live(word, recordBytes(record.bytes));
  return true;
}

bool TableCore::isRowSize(std::uint32_t bytes) const {
  return fixed_.rowBytes != 0 ? bytes == fixed_.rowBytes
                              : fixed_.keyBytes <= bytes && bytes <= fixed_.maxRowBytes;
}

/// What is said here belongs to the writer that attached last: one that lost its directory to
/// another has nothing to say any more.
void TableCore::stamp(bool seen) {
  if (state_->epoch.load(relaxed) != epoch_) return;
  if (seen) {
    const std::uint64_t now = bootTime();
    if (since_ == 0) since_ = now;
    state_->writerSince.store(since_, relaxed);
    state_->writerSeen.store(now, relaxed);
  }
  state_->rows.store(index_.rows(), relaxed);
  state_->liveBytes.store(log_.liveBytes(), relaxed);
  state_->segmentsBytes.store(log_.bytes(), relaxed);
  state_->indexBytes.store(index_.bytes(), relaxed);
  state_->writerPid.store(seen ? pid_ : 0, release);
}

bool TableCore::isExhausted() const {
  return state_->nextSegment.load(relaxed) >= segmentEnd || sequence_ >= sequenceEnd;
}

bool TableCore::filesAreThere() const {
  const std::uint32_t open = log_.openSegment();
  const Mapping* const segment = view_->segmentMapping(open);
  return segment == nullptr ||
         storage_.isThere(segmentName(fixed_.name, fixed_.generation, open), *segment);
}

void TableCore::numbersAre(std::uint32_t nextSegment, std::uint64_t nextSequence) {
  state_->nextSegment.store(nextSegment, release);
  sequence_ = sequenceLimit_ = nextSequence;
  state_->sequenceLimit.store(nextSequence, release);
}

// ---- Writing ------------------------------------------------------------------------------------

/// A write waits for memory twice, for its line of the index and then for the row that it replaces;
/// here many wait at the same time.
void TableCore::expect(const std::byte* keys, std::size_t count) const {
  std::array<std::uint64_t, expectedKeys> hashes;
  count = std::min(count, hashes.size());
  for (std::size_t i = 0; i < count; ++i) {
    hashes[i] = hash(keys + i * fixed_.keyBytes);
    index_.prefetch(hashes[i]);
  }
  for (std::size_t i = 0; i < count; ++i)
    if (const Word word = index_.firstTagged(hashes[i]); namesRecord(word)) {
      view_->prefetch(word);
      log_.prefetch(word);
    }
}

std::byte* TableCore::room(std::uint32_t rowBytes) {
  room_ = log_.room(rowBytes);
  if (room_ == nullptr) {
    roll(rowBytes);
    room_ = log_.room(rowBytes);
  }
  roomBytes_ = rowBytes;
  return room_ + sizeof(RecordHeader);
}

void TableCore::roll(std::uint32_t rowBytes) {
  if (!cleaning_) clean(log_.nextBytes(rowBytes));
  if (log_.room(rowBytes) != nullptr) return;
  const auto number = static_cast<std::uint32_t>(state_->nextSegment.load(relaxed));
  if (number >= segmentLimit)
    throw ResourceException("table " + std::string(fixed_.name) + ": no segment numbers left");
  state_->nextSegment.store(number + 1, release);  // before anything can be called so
  log_.roll(rowBytes, number);
}

void TableCore::commit(std::optional<std::uint64_t> sequence) {
  std::byte* const row = room_ + sizeof(RecordHeader);
  std::memset(row + roomBytes_, 0, recordBytes(roomBytes_) - sizeof(RecordHeader) - roomBytes_);
  const std::uint64_t hash = this->hash(row);
  index_.prefetch(hash);  // on its way while the checksum is made
  RecordHeader header{roomBytes_, 0, sequence ? *sequence : takeSequence()};
  header.check = checkRecord(fixed_.seed, header.sequence, row, roomBytes_);
  std::memcpy(room_, &header, sizeof header);
  IndexWriter::Spot spot;
  while (!index_.locate(row, fixed_.keyBytes, hash, spot)) index_.makeRoom(hash);
  const std::uint32_t offset = log_.take(roomBytes_);
  index_.store(spot, wordOf(hash, log_.openSegment(), offset));
  if (spot.found()) log_.dead(spot.word, recordBytes(spot.record.bytes));
}

std::uint64_t TableCore::takeSequence() {
  if (sequence_ == sequenceLimit_) {
    sequenceLimit_ += sequencesAtOnce;
    state_->sequenceLimit.store(sequenceLimit_, release);  // before any of them is used
  }
  return sequence_++;
}

bool TableCore::remove(const std::byte* key) {
  IndexWriter::Spot spot;
  index_.locate(key, fixed_.keyBytes, hash(key), spot);
  if (!spot.found()) return false;
  drop(spot);
  return true;
}

void TableCore::drop(const IndexWriter::Spot& spot) {
  const Record record = view_->uncheckedRecord(spot.word);
  index_.store(spot, deletedWord);
  log_.dead(spot.word, record ? recordBytes(record.bytes) : 0);
}

void TableCore::copyTo(TableCore& next) const {
  const bool keepNumbers = sequence_ < sequenceEnd;
  if (keepNumbers) next.sequence_ = next.sequenceLimit_ = sequence_;
  index_.each([&](const IndexWriter::Spot& spot) {
    const Record record = view_->record(spot.word);
    if (!record || !isRowSize(record.bytes)) return;
    std::memcpy(next.room(record.bytes), record.row, record.bytes);
    next.commit(keepNumbers ? std::optional(record.sequence) : std::nullopt);
  });
  next.state_->sequenceLimit.store(next.sequenceLimit_, release);
}

// ---- Checking -----------------------------------------------------------------------------------

std::size_t TableCore::verify() {
  std::size_t dropped = 0;
  index_.each([&](const IndexWriter::Spot& spot) {
    if (isSound(spot)) return;
    drop(spot);
    ++dropped;
  });
  return dropped;
}

/// Whole, and where its key is looked for.
bool TableCore::isSound(const IndexWriter::Spot& spot) const {
  const Record record = view_->record(spot.word);
  if (!record || !isRowSize(record.bytes)) return false;
  const std::uint64_t hash = this->hash(record.row);
  IndexWriter::Spot there;
  index_.locate(record.row, fixed_.keyBytes, hash, there);
  if (there.words == spot.words && there.place == spot.place) return true;
  view_->report("damage: a row stands where its key is not looked for, or twice");
  return false;
}

}  // namespace Tarn
