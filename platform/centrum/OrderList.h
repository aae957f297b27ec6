/// The order of change of a path's cells: an intrusive list that cells and cursors stand in.
///
/// It is a ring around a link of kind `end`. Taking a link out and putting it in elsewhere touches
/// its neighbours only, so nobody who stands in the list has to hear of it.
///
/// Thread    that of the database.
#pragma once

#include <cstdint>

namespace Centrum {

/// What a link is, and how a cell stands: `dead` cells are tombstones.
enum class LinkKind : std::uint8_t { end, cursor, value, child, dead };

struct OrderLink {
  OrderLink* previous = nullptr;
  OrderLink* next = nullptr;
  LinkKind kind = LinkKind::end;

  bool linked() const { return next != nullptr; }
  bool isCell() const { return kind >= LinkKind::value; }
};

inline void linkAfter(OrderLink& place, OrderLink& link) {
  link.previous = &place;
  link.next = place.next;
  place.next->previous = &link;
  place.next = &link;
}

/// Does nothing to a link that is in no list.
inline void unlink(OrderLink& link) {
  if (!link.linked()) return;
  link.previous->next = link.next;
  link.next->previous = link.previous;
  link.previous = link.next = nullptr;
}

/// The first cell from `link` on, or the end.
inline OrderLink& cellFrom(OrderLink& link) {
  OrderLink* at = &link;
  while (at->kind == LinkKind::cursor) at = at->next;
  return *at;
}

}  // namespace Centrum
