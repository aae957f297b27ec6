/// A hash map for collections of any size: one pointer while empty, one block while small, and as
/// fast as open addressing goes when large. It may change, in any way, while it is walked.
///
/// A map holds one heap block, of a head and slots that lie side by side; from 17 elements on an
/// index from hash to slot besides. Lookup, insertion and removal take constant time, a walk the
/// time of the largest size since the map was last empty. SlotMap says what holds for elements,
/// threads, errors and pointers.
///
///   for (auto [key, value] : map) if (value.stale) map.erase(key);
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "platform/forma/LoopCursor.h"
#include "platform/forma/SlotMap.h"

namespace Forma {

/// The order of a map that has none.
struct Unordered {
  struct Tail {
    std::uint32_t link;
  };
  template <class Map>
  static void added(Map&, std::uint32_t) {}
  template <class Map>
  static void removing(Map&, std::uint32_t) {}
};

template <class K, class V, class Hash = DefaultHash>
class HashMap : public SlotMap<K, V, Hash, Unordered> {
  using Base = SlotMap<K, V, Hash, Unordered>;

 public:
  using typename Base::Entry;

  /// A walk: visits each element that is there from its start to its end once, in no order to rely
  /// on, and none that is added meanwhile. When the map is cleared, moved from, assigned or
  /// swapped, its walks go on over what it holds then: each visits some of it, or none. The map
  /// must outlive its walks.
  class Cursor : public LoopCursor<Cursor, Entry> {
   public:
    explicit Cursor(const HashMap& map) : map_(&map), end_(map.slots()) {
      if (end_ != 0) map_->pin();
    }
    Cursor(const Cursor& other) : map_(other.map_), at_(other.at_), end_(other.end_) {
      if (end_ != 0) map_->pin();
    }
    Cursor& operator=(const Cursor&) = delete;
    ~Cursor() {
      if (end_ != 0) map_->unpin();
    }

    /// Whether the walk is over. If not, the cursor stands on an element, until the map changes.
    bool done() const {
      const std::uint32_t end = end_ == 0 ? 0 : std::min(end_, map_->slots());
      while (at_ < end && !map_->live(at_)) ++at_;
      return at_ >= end;
    }
    /// Goes on. Call done() next.
    void next() { ++at_; }
    /// The element, after done() returned false.
    const K& key() const { return map_->slot(at_).key; }
    const V& value() const { return map_->slot(at_).value; }

   private:
    const HashMap* map_;
    mutable std::uint32_t at_ = 0;  // done() skips what was removed
    std::uint32_t end_;             // 0 also means that the map is not pinned: it may have no block
  };

  /// Walks that are under way; those that began while the map was empty, and visit nothing, apart.
  std::size_t openWalks() const { return this->head() == nullptr ? 0 : this->head()->pins; }

  Cursor begin() const { return Cursor(*this); }
  std::default_sentinel_t end() const { return {}; }

  /// Calls `f(key, value)` for all elements without copying them. `f` must not change the map.
  template <class F>
  void forEach(F f) const {
    this->eachSlot([&f](const auto& s) { f(s.key, s.value); });
  }

 private:
  std::uint32_t slots() const { return this->head() == nullptr ? 0 : this->head()->used; }
};

/// A map is a pointer to its block.
template <class K, class V, class Hash>
inline constexpr bool isRelocatable<HashMap<K, V, Hash>> = true;

}  // namespace Forma
