/// One element of a path's content: an attribute, an element of a collection, or a child with
/// elements of its own.
///
/// A cell is one block of a CellPool: this head, the bytes of the key, and room for those of the
/// value. A long key, and a value that outgrows the room, lie on the heap. Cells never move.
///
/// Thread    that of the database.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/centrum/CellPool.h"
#include "platform/centrum/OrderList.h"
#include "platform/centrum/Protocol.h"
#include "platform/forma/Hash.h"

namespace Centrum {

struct Cell;

/// What tells the cells of a path apart. The key's bytes are somebody else's: the cell's own, or
/// those of the operation that asks for it.
struct CellId {
  CellId(Cell* itsParent, std::uint8_t itsMember, std::string_view itsKey)
      : parent(itsParent),
        key(itsKey),
        hash(hashOf(itsParent, itsMember, itsKey)),
        member(itsMember) {}

  bool operator==(const CellId& other) const {
    return hash == other.hash && parent == other.parent && member == other.member &&
           key == other.key;
  }

  Cell* parent;  ///< null for the root alone
  std::string_view key;
  std::uint32_t hash;
  std::uint8_t member;

 private:
  static std::uint32_t hashOf(const Cell* parent, std::uint8_t member, std::string_view key) {
    const auto place = reinterpret_cast<std::uintptr_t>(parent) + member;
    return static_cast<std::uint32_t>(Forma::mix(Forma::hashBytes(key.data(), key.size()), place));
  }
};

/// Its `kind` says how it stands. A new one is dead and in no list.
struct Cell : OrderLink {
  /// A cell that has room for a value of `room` bytes, within limits; copies the key.
  static Cell* make(CellPool& pool, const CellId& id, std::size_t room);
  static void destroy(CellPool& pool, Cell* cell) noexcept;

  bool alive() const { return kind != LinkKind::dead; }
  std::string_view value() const { return {valueBytes, valueSize}; }
  /// Copies the bytes; allocates when they are more than ever before.
  void valueIs(std::string_view value);

  /// Enters and leaves the list of its parent's children.
  void join() noexcept;
  void leave() noexcept;

  CellId id;
  Sequence sequence = 0;  ///< of its last change
  char* valueBytes;       ///< of a child: its constructor arguments
  std::uint32_t valueSize = 0;
  std::uint32_t valueRoom;
  std::uint32_t ownRoom;       ///< the part of the room that lies in the cell's block
  std::uint32_t number;        ///< of the block
  Cell* firstChild = nullptr;  ///< the dead among them, too
  Cell* previousSibling = nullptr;
  Cell* nextSibling = nullptr;
  std::uint64_t stated = 0;  ///< the generation of renewal that stated it last

 private:
  Cell(const CellId& itsId, std::uint32_t itsNumber, std::uint32_t room);
  char* ownBytes();
};

}  // namespace Centrum
