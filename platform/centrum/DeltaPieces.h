/// Pieces of a path's list, as readers are sent them: encoded once for all that stand at the same
/// place.
///
/// Thread    that of the database.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/centrum/CellStore.h"
#include "platform/centrum/CellWriter.h"

namespace Centrum {

/// What a reader asks for.
struct PieceWish {
  const OrderLink* first;  ///< the cell that it begins with, or the end of the list
  std::size_t size;
  bool snapshot;
  bool begin;
  Sequence heard;  ///< tombstones up to this are left out

  bool sameBut(const PieceWish& other) const {
    return first == other.first && size == other.size && snapshot == other.snapshot &&
           begin == other.begin;
  }
};

struct Piece {
  std::shared_ptr<const std::string> frames;  ///< null when there is nothing to say
  OrderLink* last = nullptr;                  ///< the cell that it reaches; null for none
  bool atEnd = false;
  Sequence reached = 0;  ///< everything up to this is passed; for atEnd not set
};

class DeltaPieces {
 public:
  /// `path` is the number that stands in the messages.
  DeltaPieces(CellStore& cells, std::uint32_t path)
      : cells_(cells), path_(path), writer_(cells.root(), CellWriter::forReaders) {}

  /// Valid until the next call.
  const Piece& get(const PieceWish& wish);
  /// To be called when the list changes.
  void clear() { kept_.clear(); }

 private:
  struct Kept : Piece {
    PieceWish wish{};
    // The tombstones in it would be the same for who has heard up to `skipped` at the least and
    // less than `told`.
    Sequence skipped = 0;
    Sequence told = ~Sequence{0};

    bool fits(const PieceWish& other) const {
      return wish.sameBut(other) && skipped <= other.heard && other.heard < told;
    }
  };

  static constexpr std::size_t keptAtMost = 8;

  Kept encode(const PieceWish& wish);

  CellStore& cells_;
  const std::uint32_t path_;
  CellWriter writer_;
  std::vector<Kept> kept_;
  std::size_t oldest_ = 0;
};

}  // namespace Centrum
