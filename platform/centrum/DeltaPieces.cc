#include "platform/centrum/DeltaPieces.h"

#include <algorithm>

namespace Centrum {

const Piece& DeltaPieces::get(const PieceWish& wish) {
  const auto found =
      std::find_if(kept_.begin(), kept_.end(), [&wish](const Kept& one) { return one.fits(wish); });
  if (found != kept_.end()) return *found;
  if (kept_.size() < keptAtMost) return kept_.emplace_back(encode(wish));
  oldest_ = (oldest_ + 1) % keptAtMost;
  return kept_[oldest_] = encode(wish);
}

DeltaPieces::Kept DeltaPieces::encode(const PieceWish& wish) {
  Kept piece;
  piece.wish = wish;
  OrderLink* at = const_cast<OrderLink*>(wish.first);
  Lookahead ahead(*at);
  while (at != &cells_.end() && writer_.size() < wish.size) {
    ahead.step();
    const auto& cell = static_cast<const Cell&>(*at);
    if (!cell.alive() && cell.sequence <= wish.heard)
      piece.skipped = std::max(piece.skipped, cell.sequence);
    else if (writer_.write(cell) && !cell.alive()) piece.told = std::min(piece.told, cell.sequence);
    piece.last = at;
    at = &cellFrom(*at->next);
  }
  piece.atEnd = at == &cells_.end();
  if (!piece.atEnd) piece.reached = static_cast<const Cell*>(at)->sequence - 1;
  const std::string_view records = writer_.finish();
  const bool end = wish.snapshot && piece.atEnd;
  if (records.empty() && !wish.begin && !end) return piece;
  auto frames = std::make_shared<std::string>();
  frames->reserve(records.size() + 16);
  appendFrame(*frames, Message::Delta{path_, wish.begin, end, records});
  piece.frames = std::move(frames);
  return piece;
}

}  // namespace Centrum
