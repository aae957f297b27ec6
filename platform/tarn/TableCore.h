/// One generation of a table as its writer holds it: the index, the segments, and the head.
///
/// Thread    the writer's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/tarn/Format.h"
#include "platform/tarn/IndexWriter.h"
#include "platform/tarn/RowLog.h"
#include "platform/tarn/Storage.h"
#include "platform/tarn/TableView.h"

namespace Tarn {

class TableCore {
 public:
  /// A new generation, which nobody sees before publish().
  TableCore(Storage& storage, TableView& view, const TableShape& shape, std::uint64_t generation,
            std::size_t initialRows, const Report& report);
  /// The one that is there, of which `head` is the head; see adopted().
  TableCore(Storage& storage, TableView& view, Mapping head, const Report& report);
  TableCore(const TableCore&) = delete;
  TableCore& operator=(const TableCore&) = delete;

  /// False when what was there was damaged beyond use.
  bool adopted() const { return adopted_; }
  /// Puts the head in its place: who attaches from now on finds this generation.
  void publish();
  /// Tells who is attached that another generation takes the place: look at the head.
  void retiredIs(bool retired);
  /// Removes the files of a generation that is retired, or was never published.
  void abandon();

  /// From now on `view` views this generation.
  void viewIs(TableView& view);
  const HeadFixed& fixed() const { return fixed_; }
  HeadState& state() { return *state_; }
  const IndexWriter& index() const { return index_; }
  std::size_t rows() const { return index_.rows(); }

  void expect(const std::byte* keys, std::size_t count) const;
  std::byte* room(std::uint32_t rowBytes);
  /// Files the row in the room, under the next sequence unless one is given.
  void commit(std::optional<std::uint64_t> sequence = {});
  bool remove(const std::byte* key);
  /// Writes all rows into a new generation: under their own sequences, as long as there are any.
  void copyTo(TableCore& next) const;

  /// Whether numbers are about to run out.
  bool isExhausted() const;
  /// Whether no file was taken away: of the segments, the open one is looked for.
  bool filesAreThere() const;
  void numbersAre(std::uint32_t nextSegment, std::uint64_t nextSequence);

  /// More dead than may be left to the next roll.
  bool hasFarTooMany() const;
  /// Removes segments in which nothing is live, and moves rows out of the emptiest while there are
  /// too many.
  void clean(std::uint64_t bytesToCome);
  /// The same when it need not be now: without space it is left for later.
  void cleanIfPossible() noexcept;
  void stamp(bool seen);
  /// Drops damaged rows.
  std::size_t verify();

 private:
  void adoptSegments();
  bool adoptWord(Word word);
  bool isRowSize(std::uint32_t bytes) const;
  std::uint64_t hash(const std::byte* row) const {
    return hashBytes(fixed_.seed, row, fixed_.keyBytes);
  }
  std::uint64_t takeSequence();
  void roll(std::uint32_t rowBytes);
  void drop(const IndexWriter::Spot& spot);
  bool hasTooMany(std::uint64_t bytesToCome) const;
  void evacuate(std::uint32_t segment);
  void sweep(std::uint32_t segment);
  void move(const IndexWriter::Spot& spot);
  void removeSegment(std::uint32_t segment);
  bool isSound(const IndexWriter::Spot& spot) const;

  Storage& storage_;
  const HeadFixed fixed_;
  Mapping head_;  // private until it is published
  HeadState* state_;
  TableView* view_;
  RowLog log_;
  IndexWriter index_;
  Word epoch_ = 1;
  std::uint64_t sequence_ = 1;
  std::uint64_t sequenceLimit_ = 1;
  std::uint32_t roomBytes_ = 0;
  std::byte* room_ = nullptr;
  std::uint64_t since_ = 0;  // CLOCK_BOOTTIME; 0: not yet said to be there
  const std::uint64_t pid_;
  bool adopted_ = true;
  bool cleaning_ = false;
};

}  // namespace Tarn
