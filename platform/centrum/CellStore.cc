#include "platform/centrum/CellStore.h"

#include <algorithm>

#include "platform/forma/Assert.h"

namespace Centrum {

CellStore::CellStore() : root_(Cell::make(pool_, CellId(nullptr, 0, {}), 0)) {
  root_->kind = LinkKind::child;
  end_.previous = end_.next = &end_;
  allAlive_.kind = LinkKind::cursor;
  linkAfter(end_, allAlive_);
}

CellStore::~CellStore() {
  unlink(allAlive_);
  for (const OrderLink* at = end_.next; at != &end_; at = at->next)
    FORMA_ASSERT_TEXT(at->isCell(), "cell", "a cursor outlives its path");
  destroyBelow(*root_);
  Cell::destroy(pool_, root_);
  index_.release();
}

void CellStore::destroyBelow(Cell& cell) noexcept {
  while (Cell* const child = cell.firstChild) {
    destroyBelow(*child);
    cell.firstChild = child->nextSibling;
    Cell::destroy(pool_, child);
  }
}

Cell& CellStore::findOrAdd(const CellId& id, std::size_t room) {
  if (Cell* const found = find(id)) return *found;
  if (!index_.indexed() || cells_ == index_.room()) index_.grow(cells_ + 1);
  Cell* const cell = Cell::make(pool_, id, room);
  index_.insert(id.hash, cell->number);
  ++cells_;
  cell->join();
  return *cell;
}

void CellStore::count(const Cell& cell, bool there) {
  const std::size_t step = there ? std::size_t{1} : ~std::size_t{0};  // one more, or one less
  (cell.alive() ? live_ : dead_) += step;
  if (cell.alive()) bytes_ += step * (cell.id.key.size() + cell.valueSize);
}

void CellStore::toTail(Cell& cell, Sequence at) {
  unlink(cell);
  linkAfter(*end_.previous, cell);
  cell.sequence = at;
  ++version_;
}

void CellStore::set(Cell& cell, LinkKind kind, std::string_view value, Sequence at) {
  if (cell.linked()) count(cell, false);
  cell.valueIs(value);
  cell.kind = kind;
  count(cell, true);
  toTail(cell, at);
}

void CellStore::killBelow(Cell& cell, Sequence at) {
  for (Cell* child = cell.firstChild; child != nullptr; child = child->nextSibling)
    kill(*child, at);
}

void CellStore::restateBelow(Cell& cell, Sequence at) {
  for (Cell* child = cell.firstChild; child != nullptr; child = child->nextSibling) {
    if (!child->alive()) continue;
    toTail(*child, at);
    restateBelow(*child, at);
  }
}

void CellStore::forgetBeyond(std::size_t kept) {
  while (dead_ > std::max(kept, live_)) forgetOldest();
}

// The mark only goes forward, so it passes a cell once for each time that the cell went to the
// tail.
void CellStore::forgetOldest() {
  OrderLink* at = allAlive_.next;
  while (at->kind != LinkKind::dead) at = at->next;
  unlink(allAlive_);
  linkAfter(*at->previous, allAlive_);
  auto& cell = static_cast<Cell&>(*at);
  forgotten_ = std::max(forgotten_, cell.sequence);
  forget(cell);
}

// What is below a dead cell died with it, or before.
void CellStore::forget(Cell& cell) {
  while (cell.firstChild != nullptr) forget(*cell.firstChild);
  count(cell, false);
  ++version_;
  unlink(cell);
  cell.leave();
  index_.erase(place(cell.id).cell);
  --cells_;
  Cell::destroy(pool_, &cell);
}

}  // namespace Centrum
