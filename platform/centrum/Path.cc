#include <algorithm>
#include <utility>

#include "platform/centrum/ApplyRecords.h"
#include "platform/centrum/Database.h"
#include "platform/centrum/DeltaPieces.h"
#include "platform/forma/Dir.h"

namespace Centrum {

// ---- Path --------------------------------------------------------------------------------------

Path::Path(Database& database, Path* parent, std::string fullName, std::string typeName,
           std::uint64_t schema)
    : database_(database),
      parent_(parent),
      id_(++database.lastId_),
      fullName_(std::move(fullName)),
      typeName_(std::move(typeName)),
      schema_(schema),
      directory_(typeName_ == Forma::Dir::formaTypeName),
      sequence_(database.sequence()),
      cells_(std::make_unique<CellStore>()),
      pieces_(std::make_unique<DeltaPieces>(*cells_, id_)) {}

Path::~Path() = default;

std::size_t Path::liveCells() const { return cells_->live(); }
std::size_t Path::deadCells() const { return cells_->dead(); }
std::size_t Path::bytes() const { return cells_->bytes(); }
std::uint64_t Path::version() const { return cells_->version(); }

bool Path::apply(std::string_view records, bool renew, Sequence at) {
  if (!applyRecords(*cells_, records, renew, at)) return false;
  cells_->forgetBeyond(Database::tombstonesKept);
  pieces_->clear();
  sequence_ = at;
  return true;
}

std::shared_ptr<const std::string> Path::nextDelta(Cursor& cursor, std::size_t size, bool snapshot,
                                                   bool begin) {
  if (cursor.atEnd() && !begin) return nullptr;
  const OrderLink& first = cellFrom(cursor);
  const Sequence heard = snapshot ? cursor.begun_ : 0;
  const Piece& piece = pieces_->get({&first, size, snapshot, begin, heard});
  cursor.standBehind(piece.last == nullptr ? *cursor.previous : *piece.last,
                     piece.atEnd ? sequence_ : piece.reached);
  return piece.frames;
}

// ---- Cursor ------------------------------------------------------------------------------------

Cursor::Cursor(Path& path) : path_(&path) {
  kind = LinkKind::cursor;
  standBehind(*path.cells_->end().previous, path.sequence());
}

Cursor::~Cursor() { unlink(*this); }

void Cursor::standBehind(OrderLink& place, Sequence sequence) {
  unlink(*this);
  linkAfter(place, *this);
  sequence_ = sequence;
}

void Cursor::toHead() {
  const bool empty = path_->liveCells() + path_->deadCells() == 0;
  standBehind(path_->cells_->end(), empty ? path_->sequence() : 0);
  begun_ = path_->sequence();
}

bool Cursor::toSequence(Sequence since) {
  if (since < path_->cells_->forgotten() || since > path_->database_.sequence()) return false;
  OrderLink* last = path_->cells_->end().previous;
  while (last->kind == LinkKind::cursor ||
         (last->isCell() && static_cast<Cell*>(last)->sequence > since))
    last = last->previous;
  standBehind(*last, std::min(since, path_->sequence()));
  begun_ = 0;
  return true;
}

bool Cursor::atEnd() const { return sequence_ == path_->sequence(); }

bool Cursor::lost() const { return path_->cells_->forgotten() > std::max(sequence_, begun_); }

}  // namespace Centrum
