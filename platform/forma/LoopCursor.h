/// The base of the cursors of maps: lets a range-based for loop walk with them.
#pragma once

#include <iterator>

namespace Forma {

/// `Cursor` derives from this, and has done(), next(), key() and value(); `Entry` is the copy of an
/// element that a loop gets. done() is asked before each element, as it may move on.
template <class Cursor, class Entry>
class LoopCursor {
 public:
  Entry operator*() const { return {self().key(), self().value()}; }
  Cursor& operator++() {
    auto& cursor = static_cast<Cursor&>(*this);
    cursor.next();
    return cursor;
  }
  friend bool operator==(const Cursor& walk, std::default_sentinel_t) { return walk.done(); }

 private:
  const Cursor& self() const { return static_cast<const Cursor&>(*this); }
};

}  // namespace Forma
