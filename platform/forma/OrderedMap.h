/// A map that is walked in the order of its keys: lookup by hash in constant time, insertion and
/// removal in O(log n) by a tree through the slots. It may change, in any way, while it is walked.
/// An element takes its place in the tree when somebody next asks for the order: until then it
/// costs what it does in a HashMap.
///
/// Memory as a HashMap's, and 12 bytes more for each element. Keys have `==`, a hash and `<`;
/// SlotMap says what holds for elements, threads, errors and pointers. Readers that share a map
/// must not ask for its order, unless somebody did since it last changed.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <utility>

#include "platform/forma/LoopCursor.h"
#include "platform/forma/SlotMap.h"
#include "platform/forma/SlotTree.h"

namespace Forma {

/// The order by `<` of keys.
struct KeyOrder {
  using Tail = SlotTree::Node;

  template <class Map>
  static SlotTree tree(const Map& map) {
    return SlotTree(&map.slot(0).tail, sizeof(typename Map::Slot), &map.head()->root);
  }
  template <class Map>
  static void added(const Map& map, std::uint32_t at) {
    tree(map).wait(at);
  }
  template <class Map>
  static void removing(const Map& map, std::uint32_t at) {
    tree(map).unlink(at);
  }
  /// Puts those that wait in their places.
  template <class Map>
  static void settle(const Map& map) {
    if (map.head() == nullptr || !tree(map).hasWaiting()) [[likely]]
      return;
    std::uint32_t at = tree(map).takeWaiting();
    while (at != noSlot) {
      const std::uint32_t older = tree(map).olderOf(at);
      place(map, at);
      at = older;
    }
  }

 private:
  template <class Map>
  static void place(const Map& map, std::uint32_t at) {
    std::uint32_t parent = noSlot;
    SlotTree::Side side = SlotTree::left_;
    for (std::uint32_t n = map.head()->root; n != noSlot; n = map.slot(n).tail.child[side]) {
      parent = n;
      side = map.slot(at).key < map.slot(n).key ? SlotTree::left_ : SlotTree::right_;
    }
    tree(map).link(at, parent, side);
  }
};

template <class K, class V, class Hash = DefaultHash>
class OrderedMap : public SlotMap<K, V, Hash, KeyOrder> {
  using Base = SlotMap<K, V, Hash, KeyOrder>;

 public:
  using typename Base::Entry;

  /// The least key; the least that is not less than `key`; the least that is greater. Null if
  /// there is none. O(log n).
  const K* first() const { return keyAt(firstSlot()); }
  const K* lowerBound(const K& key) const {
    return keyAt(bound([&key](const K& k) { return !(k < key); }));
  }
  const K* after(const K& key) const { return keyAt(slotAfter(key)); }

  /// A walk: goes to the least key, then each time to the least that is greater than the last. So
  /// it visits each element that is there from its start to its end once, and those added ahead of
  /// it. The map must outlive it.
  class Cursor : public LoopCursor<Cursor, Entry> {
   public:
    explicit Cursor(const OrderedMap& map) : map_(&map) {}

    /// Whether the walk is over. If not, the cursor stands on an element, until the map changes.
    bool done() const {
      if (moving_) {
        at_ = last_ ? map_->following(at_, *last_) : map_->firstSlot();
        if (at_ != noSlot) last_.emplace(map_->slot(at_).key);
        moving_ = false;
      }
      return at_ == noSlot;
    }
    /// Goes on. Call done() next.
    void next() { moving_ = true; }
    /// The element, after done() returned false.
    const K& key() const { return map_->slot(at_).key; }
    const V& value() const { return map_->slot(at_).value; }

   private:
    const OrderedMap* map_;
    // done() moves on, as late as can be.
    mutable std::optional<K> last_;  // a copy: the element may go while the cursor stands on it
    mutable std::uint32_t at_ = noSlot;
    mutable bool moving_ = true;
  };

  Cursor begin() const { return Cursor(*this); }
  std::default_sentinel_t end() const { return {}; }

  /// Calls `f(key, value)` for all elements in key order without copying them. `f` must not change
  /// the map.
  template <class F>
  void forEach(F f) const {
    for (std::uint32_t at = firstSlot(); at != noSlot; at = slotNext(at))
      f(std::as_const(this->slot(at).key), std::as_const(this->slot(at).value));
  }

  /// Equality and order by contents: element by element in key order, key before value.
  friend bool operator==(const OrderedMap& a, const OrderedMap& b) {
    if (a.size() != b.size()) return false;
    std::uint32_t i = a.firstSlot(), j = b.firstSlot();
    for (; i != noSlot; i = a.slotNext(i), j = b.slotNext(j))
      if (!(a.slot(i).key == b.slot(j).key && a.slot(i).value == b.slot(j).value)) return false;
    return true;
  }
  friend std::strong_ordering operator<=>(const OrderedMap& a, const OrderedMap& b) {
    std::uint32_t i = a.firstSlot(), j = b.firstSlot();
    for (; i != noSlot && j != noSlot; i = a.slotNext(i), j = b.slotNext(j)) {
      const auto order = compare(a.slot(i).key, b.slot(j).key);
      if (order != 0) return order;
      const auto orderOfValues = compare(a.slot(i).value, b.slot(j).value);
      if (orderOfValues != 0) return orderOfValues;
    }
    return (i != noSlot) <=> (j != noSlot);
  }

  /// The hash of the contents: equal maps hash equal.
  std::uint64_t hash() const {
    std::uint64_t h = mix(this->size(), 0);
    forEach([&h](const K& key, const V& value) { h = mix(mix(h, hashOf(key)), hashOf(value)); });
    return h;
  }

 private:
  template <class T>
  static std::strong_ordering compare(const T& a, const T& b) {
    return (b < a) <=> (a < b);
  }
  const K* keyAt(std::uint32_t at) const { return at == noSlot ? nullptr : &this->slot(at).key; }

  std::uint32_t firstSlot() const {
    KeyOrder::settle(base());
    return this->empty() ? noSlot : KeyOrder::tree(base()).first();
  }
  std::uint32_t slotNext(std::uint32_t at) const { return KeyOrder::tree(base()).next(at); }
  const Base& base() const { return *this; }

  /// The least slot whose key `reaches`, which holds from some key on.
  template <class Reaches>
  std::uint32_t bound(Reaches reaches) const {
    KeyOrder::settle(base());
    std::uint32_t best = noSlot;
    std::uint32_t n = this->head() == nullptr ? noSlot : this->head()->root;
    while (n != noSlot) {
      const bool left = reaches(this->slot(n).key);
      if (left) best = n;
      n = this->slot(n).tail.child[left ? SlotTree::left_ : SlotTree::right_];
    }
    return best;
  }
  std::uint32_t slotAfter(const K& key) const {
    return bound([&key](const K& k) { return key < k; });
  }
  /// The slot after `key`, which was in slot `at`: one step if it still is.
  std::uint32_t following(std::uint32_t at, const K& key) const {
    KeyOrder::settle(base());
    const bool stays = this->head() != nullptr && at < this->head()->used && this->live(at) &&
                       this->slot(at).key == key;
    return stays ? slotNext(at) : slotAfter(key);
  }
};

/// A map is a pointer to its block.
template <class K, class V, class Hash>
inline constexpr bool isRelocatable<OrderedMap<K, V, Hash>> = true;

}  // namespace Forma
