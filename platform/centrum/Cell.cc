#include "platform/centrum/Cell.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

namespace Centrum {

namespace {

void copyBytes(char* to, std::string_view bytes) {
  if (!bytes.empty()) std::memcpy(to, bytes.data(), bytes.size());
}

/// Longer ones lie on the heap.
constexpr std::size_t ownKey = 256;
constexpr std::size_t mostOwnRoom = CellPool::largest - sizeof(Cell) - ownKey;

/// Where a key of that size lies in the block.
std::size_t ownKeySize(std::string_view key) { return key.size() > ownKey ? 0 : key.size(); }

}  // namespace

Cell::Cell(const CellId& itsId, std::uint32_t itsNumber, std::uint32_t room)
    : id(itsId), valueRoom(room), ownRoom(room), number(itsNumber) {
  kind = LinkKind::dead;
  char* const keyBytes = ownKeySize(id.key) == id.key.size()
                             ? reinterpret_cast<char*>(this + 1)
                             : static_cast<char*>(::operator new(id.key.size()));
  copyBytes(keyBytes, id.key);
  id.key = {keyBytes, id.key.size()};
  valueBytes = ownBytes();
}

Cell* Cell::make(CellPool& pool, const CellId& id, std::size_t room) {
  const std::size_t head = sizeof(Cell) + ownKeySize(id.key);
  const std::size_t wanted = head + std::min(room, mostOwnRoom);
  const std::size_t size = (wanted + CellPool::unit - 1) / CellPool::unit * CellPool::unit;
  const CellPool::Block block = pool.take(size);
  return ::new (block.memory) Cell(id, block.number, static_cast<std::uint32_t>(size - head));
}

void Cell::destroy(CellPool& pool, Cell* cell) noexcept {
  cell->valueIs({});
  const std::size_t size = sizeof(Cell) + ownKeySize(cell->id.key) + cell->ownRoom;
  if (ownKeySize(cell->id.key) != cell->id.key.size())
    ::operator delete(const_cast<char*>(cell->id.key.data()));
  const std::uint32_t number = cell->number;
  std::destroy_at(cell);
  pool.give(number, size);
}

char* Cell::ownBytes() { return reinterpret_cast<char*>(this + 1) + ownKeySize(id.key); }

void Cell::valueIs(std::string_view value) {
  if (value.size() > valueRoom || value.empty()) {
    const auto room = std::max(ownRoom, static_cast<std::uint32_t>(value.size()));
    char* const bytes = room > ownRoom ? static_cast<char*>(::operator new(room)) : ownBytes();
    if (valueRoom > ownRoom) ::operator delete(valueBytes);
    valueBytes = bytes;
    valueRoom = room;
  }
  copyBytes(valueBytes, value);
  valueSize = static_cast<std::uint32_t>(value.size());
}

void Cell::join() noexcept {
  Cell*& first = id.parent->firstChild;
  nextSibling = first;
  if (first != nullptr) first->previousSibling = this;
  first = this;
}

void Cell::leave() noexcept {
  Cell*& from = previousSibling != nullptr ? previousSibling->nextSibling : id.parent->firstChild;
  from = nextSibling;
  if (nextSibling != nullptr) nextSibling->previousSibling = previousSibling;
  previousSibling = nextSibling = nullptr;
}

}  // namespace Centrum
