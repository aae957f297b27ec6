// The part of TableCore that wins back the space of dead rows; the rest is in TableCore.cc.
// Segments in which nothing is live go; of the others the emptiest gives its rows to the open one.
#include <array>
#include <cstring>
#include <exception>
#include <optional>
#include <vector>

#include "platform/tarn/TableCore.h"

namespace Tarn {

void TableCore::clean(std::uint64_t bytesToCome) {
  if (cleaning_) return;
  struct Guard {
    bool& flag;
    ~Guard() { flag = false; }
  } guard{cleaning_};
  cleaning_ = true;
  for (const std::uint32_t number : log_.empty()) removeSegment(number);
  for (std::size_t most = log_.numbers().size(); most > 0 && hasTooMany(bytesToCome); --most) {
    const std::optional<std::uint32_t> victim = log_.emptiest();
    if (!victim) return;
    evacuate(*victim);
  }
}

void TableCore::cleanIfPossible() noexcept {
  try {
    clean(0);
  } catch (const std::exception& problem) {
    view_->report(problem.what());
  }
}

bool TableCore::hasTooMany(std::uint64_t bytesToCome) const {
  const std::uint64_t live = log_.liveBytes();
  const std::uint64_t segment = log_.nextBytes(0);
  return log_.bytes() + bytesToCome > live + live / 20 * 9 + segment + segment / 2;
}

bool TableCore::hasFarTooMany() const {
  return log_.bytes() > 2 * (log_.liveBytes() + log_.nextBytes(0));
}

/// Finds the live records some ahead of those that it moves: the memory for their words is on its
/// way meanwhile.
void TableCore::evacuate(std::uint32_t segment) {
  struct Candidate {
    Word word;
    std::uint64_t hash;
  };
  constexpr std::size_t ahead = 16;
  std::array<Candidate, ahead> coming;
  const std::vector<std::uint32_t> offsets = log_.liveIn(segment);
  for (std::size_t i = 0; i < offsets.size() + ahead; ++i) {
    Candidate& one = coming[i % ahead];
    if (i >= ahead) {
      const IndexWriter::Spot spot = index_.locate(one.word, one.hash);
      if (spot.words != nullptr) move(spot);
    }
    if (i >= offsets.size()) continue;
    const Record record = view_->uncheckedRecord(wordOf(0, segment, offsets[i]));
    const std::uint64_t hash = record.bytes < fixed_.keyBytes ? 0 : this->hash(record.row);
    one = {wordOf(hash, segment, offsets[i]), hash};
    index_.prefetch(hash);
  }
  if (log_.liveRows(segment) != 0) sweep(segment);
  removeSegment(segment);
}

/// What was missed, as its key is damaged.
void TableCore::sweep(std::uint32_t segment) {
  index_.each([this, segment](const IndexWriter::Spot& spot) {
    if (segmentOf(spot.word) == segment) move(spot);
  });
}

void TableCore::move(const IndexWriter::Spot& spot) {
  const Record record = view_->record(spot.word);
  if (!record) return drop(spot);
  std::byte* at = log_.room(record.bytes);
  if (at == nullptr) {
    roll(record.bytes);
    at = log_.room(record.bytes);
  }
  std::memcpy(at, record.row - sizeof(RecordHeader), recordBytes(record.bytes));
  const std::uint32_t offset = log_.take(record.bytes);
  index_.store(spot, wordOf(spot.word, log_.openSegment(), offset));
  log_.dead(spot.word, recordBytes(record.bytes));
}

void TableCore::removeSegment(std::uint32_t segment) {
  log_.remove(segment);
  state_->segmentsRemoved.store(state_->segmentsRemoved.load(std::memory_order_relaxed) + 1,
                                std::memory_order_release);
}

}  // namespace Tarn
