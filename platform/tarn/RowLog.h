/// The segments of one generation of a table, as its writer knows them: rows are appended to the
/// open one; what is live in each is counted.
///
/// Thread    the writer's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/tarn/Format.h"
#include "platform/tarn/Storage.h"
#include "platform/tarn/TableView.h"

namespace Tarn {

class RowLog {
 public:
  RowLog(Storage& storage, const TableView& view, const HeadFixed& fixed)
      : storage_(storage), view_(&view), fixed_(fixed) {}

  /// From now on what is made is shown to another view.
  void viewIs(const TableView& view) { view_ = &view; }

  /// Room for a record with a row of that many bytes in the open segment; null when it is full.
  std::byte* room(std::uint32_t rowBytes);
  /// Opens a segment that holds such a record at least. Raises, and changes nothing, when it
  /// cannot.
  void roll(std::uint32_t rowBytes, std::uint32_t number);
  /// The record in the room is there to stay: where it is.
  std::uint32_t take(std::uint32_t rowBytes);
  std::uint32_t openSegment() const { return openNumber_; }

  // ---- What is live ----------------------------------------------------------------------------

  /// A segment of an earlier writer.
  void adopt(std::uint32_t number, std::size_t bytes);
  bool knows(std::uint32_t number) const { return find(number) != none; }
  /// The record that a word names, and that takes so many bytes, counts, or counts no more.
  void live(Word word, std::uint32_t bytes);
  void dead(Word word, std::uint32_t bytes);
  /// Asks memory for what dead() will touch.
  void prefetch(Word word) const;
  std::uint32_t liveRows(std::uint32_t number) const { return segments_[find(number)].liveRows; }

  /// Where the live records of a segment begin.
  std::vector<std::uint32_t> liveIn(std::uint32_t number) const;

  /// The closed segment of which the least is live; none when the best is nearly full.
  std::optional<std::uint32_t> emptiest() const;
  /// Closed segments of which nothing is live.
  std::vector<std::uint32_t> empty() const;
  /// Takes a segment out of the books and away from the storage.
  void remove(std::uint32_t number);

  std::uint64_t liveBytes() const { return liveBytes_; }
  std::uint64_t bytes() const { return bytes_; }
  /// How large the next segment will be.
  std::uint32_t nextBytes(std::uint32_t rowBytes) const;
  std::vector<std::uint32_t> numbers() const;

 private:
  struct Segment {
    std::uint32_t number = 0;
    std::uint32_t liveRows = 0;
    std::uint64_t bytes = 0;
    std::uint64_t liveBytes = 0;
    std::vector<std::uint64_t> live{};  // a bit for each place: a live record begins there
  };
  static constexpr std::uint32_t none = ~0U;

  std::uint32_t find(std::uint32_t number) const {
    return number - firstNumber_ < places_.size() ? places_[number - firstNumber_] : none;
  }
  void file(std::uint32_t number, std::uint64_t bytes);

  Storage& storage_;
  const TableView* view_;
  const HeadFixed& fixed_;
  std::vector<Segment> segments_;      // in no order
  std::vector<std::uint32_t> places_;  // in segments_, by number less firstNumber_
  std::uint32_t firstNumber_ = 0;
  std::uint64_t liveBytes_ = 0;
  std::uint64_t bytes_ = 0;

  std::byte* open_ = nullptr;  // the segment that is written
  std::uint32_t openNumber_ = none;
  std::uint32_t openBytes_ = 0;
  std::uint32_t used_ = 0;
};

}  // namespace Tarn
