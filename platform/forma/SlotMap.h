/// What hash maps and ordered maps share: slots in one block, found by hash. Use HashMap or
/// OrderedMap; this is their base.
///
/// Thread    one at a time; readers of an unchanging map may share it.
/// Elements  copied or moved in; hash, `==` and `<` of keys must not throw, and moved-from objects
///           must not touch the map when they are destroyed. Anything else may: whatever a change
///           removes is destroyed after the map is consistent again.
/// Errors    std::bad_alloc, std::length_error (2.6 billion elements), and what copying or moving
///           elements raises: the map is then valid and, unless said otherwise, unchanged.
/// Pointers  to values stay valid until the map grows; to an element, until it is removed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

#include "platform/forma/Hash.h"
#include "platform/forma/Relocatable.h"
#include "platform/forma/SlotBlock.h"

namespace Forma {

/// The usual hash of keys. A policy of one's own need not be good: maps mix its result again.
struct DefaultHash {
  template <class K>
  std::uint64_t operator()(const K& key) const {
    return hashOf(key);
  }
};

/// `Order` is what the map does beyond hashing: its slots end in an Order::Tail, and Order::added
/// and Order::removing are called for each slot that comes and goes.
template <class K, class V, class Hash, class Order>
class SlotMap {
 public:
  /// What a walk yields: a copy, so the element may change or go meanwhile.
  struct Entry {
    K key;
    V value;
  };

  SlotMap() = default;
  /// Copies are as small as their content allows.
  SlotMap(const SlotMap& other) : SlotMap() {
    reserve(other.size());
    other.eachSlot([this](const Slot& s) { add(hashIfIndexed(s.key), K(s.key), V(s.value)); });
  }
  /// Takes the block. Open walks stay with `other`, which is now empty; for them, and only then, a
  /// head is allocated, and a failure of that ends the program.
  SlotMap(SlotMap&& other) noexcept { swap(other); }
  SlotMap& operator=(const SlotMap& other) {
    if (this == &other) return *this;
    SlotMap copy(other);
    swap(copy);
    return *this;
  }
  SlotMap& operator=(SlotMap&& other) noexcept {
    SlotMap moved(std::move(other));
    swap(moved);
    return *this;
  }
  ~SlotMap() {
    while (head_ != nullptr) destroy(std::exchange(head_, nullptr));
  }
  void swap(SlotMap& other) noexcept { SlotHead::swap(head_, other.head_, sizeof(Slot)); }

  std::size_t size() const { return head_ == nullptr ? 0 : head_->size; }
  bool empty() const { return size() == 0; }
  /// Heap memory held, in bytes.
  std::size_t bytes() const { return head_ == nullptr ? 0 : head_->bytes(sizeof(Slot)); }

  /// The value of `key`, or null.
  const V* find(const K& key) const {
    const std::uint32_t at = place(key).slot;
    return at == noSlot ? nullptr : &slot(at).value;
  }
  V* find(const K& key) { return const_cast<V*>(std::as_const(*this).find(key)); }
  bool contains(const K& key) const { return place(key).slot != noSlot; }

  /// Adds an element unless the key is there. The value, new or old, and whether it was added.
  std::pair<V*, bool> insert(K key, V value) {
    const std::uint32_t hash = hashIfIndexed(key);
    const std::uint32_t at = place(key, hash).slot;
    if (at != noSlot) return {&slot(at).value, false};
    return {&add(hash, std::move(key), std::move(value)), true};
  }

  /// Adds an element or overwrites its value. Whether it was added.
  bool put(K key, V value) {
    const std::uint32_t hash = hashIfIndexed(key);
    const std::uint32_t at = place(key, hash).slot;
    if (at == noSlot) {
      add(hash, std::move(key), std::move(value));
    } else if constexpr (std::is_trivially_destructible_v<V>) {
      slot(at).value = std::move(value);
    } else {
      std::swap(slot(at).value, value);  // the old value dies with the argument, in the caller
    }
    return at == noSlot;
  }

  /// Removes an element and moves its value to `out`, if given. Whether it was there. `key` may
  /// be that of the element itself. The last element takes the block with it.
  bool take(const K& key, V* out = nullptr) {
    const SlotIndex::Place at = place(key);
    if (at.slot == noSlot) return false;
    Gone gone(slot(at.slot));
    remove(at);
    if (out != nullptr) *out = std::move(gone.value);
    return true;
  }
  bool erase(const K& key) { return take(key); }

  /// Removes all elements and gives the memory back.
  void clear() { SlotMap().swap(*this); }

  /// Makes room for `n` elements in all. The room goes when the last element does.
  void reserve(std::size_t n) {
    if (n > noSlot) n = noSlot;  // what does not fit is refused when it comes
    const auto slots = static_cast<std::uint32_t>(n);
    if (slots > capacity()) growSlots(slots);
    if (slots > SlotIndex::scanned) growIndex(slots);
  }

 protected:
  struct Slot {
    K key;
    V value;
    typename Order::Tail tail;  // the only part that exists in a slot that is not live
  };

  SlotHead* head() const { return head_; }
  Slot& slot(std::uint32_t at) const { return slotsOf(head_)[at]; }
  bool live(std::uint32_t at) const { return isLive(slot(at).tail.link); }
  std::uint32_t slotOf(const K& key) const { return place(key).slot; }

  /// `f(slot)` for all elements, in the order of slots.
  template <class F>
  void eachSlot(F f) const {
    eachOf(head_, f);
  }

  /// A walk opens and ends. The last to end frees a block that ran empty meanwhile.
  void pin() const { head_->pin(); }
  void unpin() const noexcept {
    --head_->pins;
    freeIfIdle();
  }

 private:
  friend Order;

  /// An element on its way out: it is destroyed when the change is complete.
  struct Gone {
    explicit Gone(Slot& s)
        : value(std::move_if_noexcept(s.value)), key(std::move_if_noexcept(s.key)) {}
    V value;  // before the key: if copying the key throws, the key is still whole
    K key;
  };

  static Slot* slotsOf(SlotHead* head) {
    static_assert(alignof(Slot) <= 16, "slots are aligned to 16 bytes");
    return reinterpret_cast<Slot*>(head + 1);
  }
  template <class F>
  static void eachOf(SlotHead* head, F f) {
    if (head == nullptr) return;
    Slot* s = slotsOf(head);
    for (const Slot* end = s + head->used; s != end; ++s)
      if (isLive(s->tail.link)) f(*s);
  }

  std::uint32_t capacity() const { return head_ == nullptr ? 0 : head_->capacity; }
  static std::uint32_t hashOfKey(const K& key) {
    return static_cast<std::uint32_t>((Hash{}(key)*0x9e3779b97f4a7c15U) >> 32);
  }
  std::uint32_t hashIfIndexed(const K& key) const {
    return head_ != nullptr && head_->indexed() ? hashOfKey(key) : 0;
  }
  SlotIndex::Place place(const K& key) const { return place(key, hashIfIndexed(key)); }
  SlotIndex::Place place(const K& key, std::uint32_t hash) const {
    if (head_ == nullptr) return {noSlot, 0};
    const Slot* slots = slotsOf(head_);
    if (head_->indexed())
      return head_->find(hash, [&](std::uint32_t at) { return slots[at].key == key; });
    for (std::uint32_t at = 0; at < head_->used; ++at)
      if (isLive(slots[at].tail.link) && slots[at].key == key) return {at, 0};
    return {noSlot, 0};
  }

  /// Adds an element whose key is not there.
  [[gnu::noinline]] V& add(std::uint32_t hash, K&& key, V&& value) {
    if (head_ == nullptr || !head_->hasRoom()) {
      makeRoom();
      hash = hashIfIndexed(key);
    }
    const bool reused = head_->free != noSlot && head_->pins == 0;
    const std::uint32_t at = reused ? head_->free : head_->used;
    Slot& s = slot(at);
    construct(s, std::move(key), std::move(value));
    if (reused) head_->free = s.tail.link;
    else ++head_->used;
    ++head_->size;
    s.tail.link = liveLink;
    if (head_->indexed()) head_->insert(hash, at);
    Order::added(*this, at);
    return s.value;
  }
  static void construct(Slot& s, K&& key, V&& value) {
    std::construct_at(&s.key, std::move(key));
    if constexpr (std::is_nothrow_move_constructible_v<V>) {
      std::construct_at(&s.value, std::move(value));
    } else {
      try {
        std::construct_at(&s.value, std::move(value));
      } catch (...) {
        std::destroy_at(&s.key);
        throw;
      }
    }
  }

  /// Removes a slot whose key and value were moved out.
  void remove(SlotIndex::Place at) noexcept {
    Order::removing(*this, at.slot);
    if (head_->indexed()) head_->erase(at.cell);
    Slot& s = slot(at.slot);
    std::destroy_at(&s.key);
    std::destroy_at(&s.value);
    s.tail.link = std::exchange(head_->free, at.slot);
    if (--head_->size == 0) freeIfIdle();
  }
  void freeIfIdle() const noexcept {
    if (head_->idle()) SlotHead::destroy(std::exchange(head_, nullptr), sizeof(Slot));
  }
  static void destroy(SlotHead* head) noexcept {
    if constexpr (!std::is_trivially_destructible_v<K> || !std::is_trivially_destructible_v<V>)
      eachOf(head, [](Slot& s) {
        std::destroy_at(&s.key);
        std::destroy_at(&s.value);
      });
    SlotHead::destroy(head, sizeof(Slot));
  }

  [[gnu::noinline]] void makeRoom() {
    const bool reusable = head_ != nullptr && head_->free != noSlot && head_->pins == 0;
    if (!reusable && (head_ == nullptr || head_->used == head_->capacity))
      growSlots(SlotHead::nextCapacity(capacity()));
    if (head_->size >= head_->room()) growIndex(head_->size + 1);
  }
  /// Builds or enlarges the index.
  void growIndex(std::uint32_t slots) {
    const bool building = !head_->indexed();
    head_->grow(slots);
    if (building)
      for (std::uint32_t at = 0; at < head_->used; ++at)
        if (live(at)) head_->insert(hashOfKey(slot(at).key), at);
  }
  void growSlots(std::uint32_t capacity) {
    if (head_ == nullptr) {
      head_ = SlotHead::make(capacity, sizeof(Slot));
    } else if constexpr (relocatable<K>() && relocatable<V>()) {
      head_ = SlotHead::enlarge(head_, capacity, sizeof(Slot));
    } else {
      growByElement(capacity);
    }
  }
  void growByElement(std::uint32_t capacity) {
    SlotHead* next = SlotHead::make(capacity, sizeof(Slot));
    Slot* to = slotsOf(next);
    try {
      for (; next->used < head_->used; ++next->used, ++to) {
        Slot& from = slot(next->used);
        to->tail.link = noSlot;
        if (isLive(from.tail.link)) move(*to, from);
        to->tail = from.tail;
      }
    } catch (...) {
      destroy(next);
      throw;
    }
    SlotHead* old = std::exchange(head_, next);
    static_cast<SlotHead&>(*next) = *old;
    next->capacity = capacity;
    *static_cast<SlotIndex*>(old) = SlotIndex();  // it went along
    destroy(old);
  }
  static void move(Slot& to, Slot& from) {
    std::construct_at(&to.value, std::move_if_noexcept(from.value));
    try {
      std::construct_at(&to.key, std::move_if_noexcept(from.key));
    } catch (...) {
      std::destroy_at(&to.value);
      throw;
    }
  }

  mutable SlotHead* head_ = nullptr;  // mutable: the end of a walk may free an empty block
};

}  // namespace Forma
