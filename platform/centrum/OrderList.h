/// The order of change of a path's cells: an intrusive list that cells and cursors stand in.
///
/// It is a ring around a link of kind `end`. Taking a link out and putting it in elsewhere touches
/// its neighbours only, so nobody who stands in the list has to hear of it.
///
/// Thread    that of the database.
#pragma once

#include <cstddef>
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

/// Goes before a walk through a list whose cells lie anywhere in memory, so that they are on their
/// way when the walk comes to them. The list must not change meanwhile.
class Lookahead {
 public:
  explicit Lookahead(const OrderLink& from) : at_(&from) {
    for (int i = 0; i < distance; ++i) step();
  }
  /// To be called for each step of the walk.
  void step() {
    if (at_->kind == LinkKind::end) return;
    at_ = at_->next;
    for (std::size_t line = 0; line < lines; ++line)
      __builtin_prefetch(reinterpret_cast<const char*>(at_) + 64 * line);
  }

 private:
  static constexpr int distance = 12;      // steps
  static constexpr std::size_t lines = 4;  // of a cell, its key and value included

  const OrderLink* at_;
};

/// The first cell from `link` on, or the end.
inline OrderLink& cellFrom(OrderLink& link) {
  OrderLink* at = &link;
  while (at->kind == LinkKind::cursor) at = at->next;
  return *at;
}

}  // namespace Centrum
