/// An ordered map for collections that mostly hold one small element, of which there are many: the
/// one lies in the map itself, and takes no heap memory. From two on it is an OrderedMap.
///
/// What OrderedMap says of threads, walks, errors and pointers holds, but that a pointer to a value
/// is good only until the next change. A step of a walk is a search.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <type_traits>
#include <utility>

#include "platform/forma/LoopCursor.h"
#include "platform/forma/OrderedMap.h"

namespace Forma {

template <class K, class V, class Hash = DefaultHash>
class FewMap {
  static_assert(std::is_trivially_copyable_v<K> && std::is_trivially_copyable_v<V> &&
                std::is_default_constructible_v<K> && std::is_default_constructible_v<V>);
  using Many = OrderedMap<K, V, Hash>;

 public:
  using Entry = typename Many::Entry;

  FewMap() = default;
  FewMap(const FewMap&) = default;
  FewMap(FewMap&& o) noexcept
      : many_(std::move(o.many_)),
        key_(o.key_),
        value_(o.value_),
        isOne_(std::exchange(o.isOne_, false)) {}
  FewMap& operator=(FewMap o) noexcept {
    many_.swap(o.many_);
    key_ = o.key_;
    value_ = o.value_;
    isOne_ = o.isOne_;
    return *this;
  }
  ~FewMap() = default;

  std::size_t size() const { return isOne_ ? 1 : many_.size(); }
  bool empty() const { return size() == 0; }
  /// Heap memory held, in bytes.
  std::size_t bytes() const { return many_.bytes(); }

  /// The value of `key`, or null.
  const V* find(const K& key) const {
    if (isOne_) return key == key_ ? &value_ : nullptr;
    return many_.find(key);
  }
  bool contains(const K& key) const { return find(key) != nullptr; }

  /// Adds an element unless the key is there. The value, new or old, and whether it was added.
  std::pair<V*, bool> insert(K key, V value) {
    if (isOne_ && key == key_) return {&value_, false};
    if (!isOne_ && many_.bytes() == 0) {
      key_ = key;
      value_ = value;
      isOne_ = true;
      return {&value_, true};
    }
    spread();
    return many_.insert(key, value);
  }
  /// Adds an element or overwrites its value. Whether it was added.
  bool put(K key, V value) {
    const auto [at, added] = insert(key, value);
    *at = value;
    return added;
  }
  /// Removes an element and moves its value to `out`, if given. Whether it was there.
  bool take(const K& key, V* out = nullptr) {
    if (!isOne_) return many_.take(key, out);
    if (!(key == key_)) return false;
    if (out != nullptr) *out = value_;
    isOne_ = false;
    return true;
  }
  bool erase(const K& key) { return take(key); }
  void clear() { *this = FewMap(); }
  /// Makes room for `n` elements in all. The room goes when the last element does.
  void reserve(std::size_t n) {
    if (n <= 1) return;
    many_.reserve(n);
    spread();
  }

  /// The least key; the least that is not less than `key`; the least that is greater. Null if
  /// there is none.
  const K* first() const { return isOne_ ? &key_ : many_.first(); }
  const K* lowerBound(const K& key) const {
    if (isOne_) return key_ < key ? nullptr : &key_;
    return many_.lowerBound(key);
  }
  const K* after(const K& key) const {
    if (isOne_) return key < key_ ? &key_ : nullptr;
    return many_.after(key);
  }

  /// A walk, as that of an OrderedMap.
  class Cursor : public LoopCursor<Cursor, Entry> {
   public:
    explicit Cursor(const FewMap& map) : map_(&map) {}

    bool done() const {
      if (moving_) {
        const K* const next = last_ ? map_->after(*last_) : map_->first();
        over_ = next == nullptr;
        if (next != nullptr) last_.emplace(*next);
        moving_ = false;
      }
      return over_;
    }
    void next() { moving_ = true; }
    /// The element, after done() returned false.
    const K& key() const { return *last_; }
    const V& value() const { return *map_->find(*last_); }

   private:
    const FewMap* map_;
    mutable std::optional<K> last_;
    mutable bool moving_ = true;
    mutable bool over_ = false;
  };

  Cursor begin() const { return Cursor(*this); }
  std::default_sentinel_t end() const { return {}; }

  /// Calls `f(key, value)` for all elements in key order. `f` must not change the map.
  template <class F>
  void forEach(F f) const {
    if (isOne_) f(key_, value_);
    else many_.forEach(f);
  }

 private:
  /// The one joins the many; if there is no memory it stays.
  void spread() {
    if (!isOne_) return;
    many_.insert(key_, value_);
    isOne_ = false;
  }

  Many many_;  // empty while there is the one
  K key_{};
  V value_{};
  bool isOne_ = false;
};

}  // namespace Forma
