#include "platform/tarn/RowLog.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

namespace Tarn {

namespace {

/// A segment of which more is live is not worth moving.
constexpr double nearlyFull = 0.95;
/// Segments are about this part of what is live.
constexpr std::uint64_t partOfLive = 16;

double fullness(std::uint64_t live, std::uint64_t bytes) {
  return static_cast<double>(live) / static_cast<double>(bytes);
}

}  // namespace

std::byte* RowLog::room(std::uint32_t rowBytes) {
  if (open_ == nullptr || recordBytes(rowBytes) > openBytes_ - used_) return nullptr;
  return open_ + used_;
}

std::uint32_t RowLog::take(std::uint32_t rowBytes) {
  const std::uint32_t at = used_;
  used_ += recordBytes(rowBytes);
  live(wordOf(0, openNumber_, at), recordBytes(rowBytes));
  return at;
}

std::uint32_t RowLog::nextBytes(std::uint32_t rowBytes) const {
  const Geometry& g = fixed_.geometry;
  const std::uint64_t wanted = std::bit_ceil(liveBytes_ / partOfLive + 1);
  const std::uint64_t least = std::bit_ceil(segmentHeaderBytes + recordBytes(rowBytes));
  const auto bytes = std::clamp<std::uint64_t>(wanted, g.firstSegmentBytes, g.lastSegmentBytes);
  return static_cast<std::uint32_t>(std::max(bytes, least));
}

void RowLog::roll(std::uint32_t rowBytes, std::uint32_t number) {
  const std::uint32_t bytes = nextBytes(rowBytes);
  Mapping made = storage_.create(segmentName(fixed_.name, fixed_.generation, number), bytes,
                                 [&](std::byte* at) {
                                   SegmentHeader header{};
                                   std::memcpy(header.magic, segmentMagic, sizeof segmentMagic);
                                   header.generation = fixed_.generation;
                                   header.number = number;
                                   std::memcpy(at, &header, sizeof header);
                                 });
  file(number, bytes);
  open_ = made.data();
  openNumber_ = number;
  openBytes_ = bytes;
  used_ = segmentHeaderBytes;
  view_->segmentIs(number, std::move(made));
}

void RowLog::file(std::uint32_t number, std::uint64_t bytes) {
  if (segments_.empty()) {
    places_.clear();
    firstNumber_ = number;
  }
  if (number < firstNumber_) {
    places_.insert(places_.begin(), firstNumber_ - number, none);
    firstNumber_ = number;
  }
  if (number - firstNumber_ >= places_.size()) places_.resize(number - firstNumber_ + 1, none);
  places_[number - firstNumber_] = static_cast<std::uint32_t>(segments_.size());
  segments_.push_back(
      {number, 0, bytes, 0, std::vector<std::uint64_t>(bytes / placeStep / 64 + 1)});
  bytes_ += bytes;
}

void RowLog::adopt(std::uint32_t number, std::size_t bytes) { file(number, bytes); }

void RowLog::live(Word word, std::uint32_t bytes) {
  Segment& segment = segments_[find(segmentOf(word))];
  const std::uint32_t place = offsetOf(word) / placeStep;
  segment.live[place / 64] |= std::uint64_t{1} << place % 64;
  ++segment.liveRows;
  segment.liveBytes += bytes;
  liveBytes_ += bytes;
}

/// What a damaged header says of its size may be wrong: the sums stay sums of what is known.
void RowLog::dead(Word word, std::uint32_t bytes) {
  const std::uint32_t at = find(segmentOf(word));
  if (at == none) return;
  Segment& segment = segments_[at];
  const std::uint32_t place = offsetOf(word) / placeStep;
  if (place / 64 < segment.live.size())
    segment.live[place / 64] &= ~(std::uint64_t{1} << place % 64);
  const std::uint64_t less = std::min<std::uint64_t>(bytes, segment.liveBytes);
  if (segment.liveRows != 0) --segment.liveRows;
  segment.liveBytes -= less;
  liveBytes_ -= less;
}

void RowLog::prefetch(Word word) const {
  const std::uint32_t at = find(segmentOf(word));
  const std::uint32_t place = offsetOf(word) / placeStep;
  if (at != none && place / 64 < segments_[at].live.size())
    __builtin_prefetch(segments_[at].live.data() + place / 64, 1);
}

std::vector<std::uint32_t> RowLog::liveIn(std::uint32_t number) const {
  const Segment& segment = segments_[find(number)];
  std::vector<std::uint32_t> offsets;
  offsets.reserve(segment.liveRows);
  for (std::uint32_t i = 0; i < segment.live.size(); ++i)
    for (std::uint64_t bits = segment.live[i]; bits != 0; bits &= bits - 1)
      offsets.push_back((i * 64 + static_cast<std::uint32_t>(std::countr_zero(bits))) * placeStep);
  return offsets;
}

std::optional<std::uint32_t> RowLog::emptiest() const {
  double least = nearlyFull;
  std::optional<std::uint32_t> found;
  for (const Segment& one : segments_) {
    const double full = fullness(one.liveBytes, one.bytes);
    if (one.number == openNumber_ || full >= least) continue;
    least = full;
    found = one.number;
  }
  return found;
}

std::vector<std::uint32_t> RowLog::empty() const {
  std::vector<std::uint32_t> found;
  for (const Segment& one : segments_)
    if (one.liveRows == 0 && one.number != openNumber_) found.push_back(one.number);
  return found;
}

void RowLog::remove(std::uint32_t number) {
  const std::uint32_t at = find(number);
  bytes_ -= segments_[at].bytes;
  liveBytes_ -= segments_[at].liveBytes;
  if (at + 1 != segments_.size()) segments_[at] = std::move(segments_.back());
  places_[segments_[at].number - firstNumber_] = at;
  segments_.pop_back();
  places_[number - firstNumber_] = none;
  view_->segmentDel(number);
  storage_.remove(segmentName(fixed_.name, fixed_.generation, number));
}

std::vector<std::uint32_t> RowLog::numbers() const {
  std::vector<std::uint32_t> all;
  for (const Segment& one : segments_) all.push_back(one.number);
  return all;
}

}  // namespace Tarn
