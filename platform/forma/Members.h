/// What entities are made of: attributes, and the kinds of collections. The macros of Declare.h
/// give them their accessors.
///
/// Thread    that of the entity.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "platform/forma/Entity.h"
#include "platform/forma/Errors.h"
#include "platform/forma/FewMap.h"
#include "platform/forma/HashMap.h"
#include "platform/forma/OrderedMap.h"
#include "platform/forma/Text.h"

namespace Forma {

enum class MemberKind : std::uint8_t {
  attribute,   ///< one value
  values,      ///< values by key
  references,  ///< entities owned elsewhere, by key
  reference,   ///< one entity owned elsewhere, or none
  children,    ///< entities that the collection makes and owns, by key
  child,       ///< one entity that the member makes and owns
  entries,     ///< a directory's children, of any type, by name
  table        ///< rows by key that processes share in memory; no part of an entity's content
};

/// Whether members of that kind belong to what replication carries with their entity.
constexpr bool isContent(MemberKind kind) {
  return kind != MemberKind::entries && kind != MemberKind::table;
}

/// Whether members of that kind hold entities owned elsewhere, which travel as values.
constexpr bool isReference(MemberKind kind) {
  return kind == MemberKind::references || kind == MemberKind::reference;
}

/// Base of the members of kind table, which layers above define.
class TableBase {
 protected:
  TableBase() = default;
  ~TableBase() = default;
};

template <class T>
struct Attribute {
  static constexpr MemberKind kind = MemberKind::attribute;
  using Value = T;
  T value{};
};

/// Values by key; `Map` says whether a walk goes in key order.
template <class K, class V, template <class, class, class> class Map>
struct Values {
  static constexpr MemberKind kind = MemberKind::values;
  using Key = K;
  using Value = V;
  using Held = V;
  Map<K, V, DefaultHash> map;

  /// Inserts or overwrites; true when that changed something.
  bool put(K key, V value) {
    const auto [at, inserted] = map.insert(std::move(key), value);
    if (inserted) return true;
    if (*at == value) return false;
    std::swap(*at, value);  // what was there is destroyed when the map is whole again
    return true;
  }
  V get(const K& key) const {
    const V* found = map.find(key);
    return found ? *found : V{};
  }
  void removed(const V&) {}
};

/// Values that know their key: each is filed under it. One that comes with another key, from the
/// wire or by generic access, takes that key on.
template <class K, class V, const K& (V::*keyOf)() const, void (V::*keyIs)(K)>
struct KeyedValues : Values<K, V, HashMap> {
  bool put(K key, V value) {
    if (!((value.*keyOf)() == key)) (value.*keyIs)(key);
    return Values<K, V, HashMap>::put(std::move(key), std::move(value));
  }
};

/// Entities owned elsewhere, by key.
template <class K, class E>
struct References {
  static constexpr MemberKind kind = MemberKind::references;
  using Key = K;
  using Element = E;
  using Held = Ptr<E>;
  HashMap<K, Ptr<E>> map;

  E* find(const K& key) const {
    const Ptr<E>* found = map.find(key);
    return found ? found->get() : nullptr;
  }
  void removed(const Ptr<E>&) {}
};

/// One entity owned elsewhere, or none.
template <class E>
struct Reference {
  static constexpr MemberKind kind = MemberKind::reference;
  using Element = E;
  Ptr<E> element;
};

/// Entities that the member owns, by key; `Map` says whether a walk goes in key order. Held as
/// Ptr<Entity>, so that all collections of one key type share their code.
template <class K, class E, bool surfacing = false, MemberKind memberKind = MemberKind::children,
          template <class, class, class> class Map = HashMap>
struct Children {
  static constexpr MemberKind kind = memberKind;
  static constexpr bool surfaces = surfacing;
  using Key = K;
  using Element = E;
  using Held = Ptr<Entity>;
  Map<K, Ptr<Entity>, DefaultHash> map;

  Children() = default;
  Children(const Children&) = delete;
  Children& operator=(const Children&) = delete;
  /// Children that somebody else holds live on, without a parent.
  ~Children() {
    map.forEach([](const K&, const Ptr<Entity>& child) { child->formaOrphan(); });
  }

  E* find(const K& key) const {
    const Ptr<Entity>* found = map.find(key);
    return found ? static_cast<E*>(found->get()) : nullptr;
  }
  void removed(const Ptr<Entity>& child) { child->formaOrphan(); }
};

/// One entity that the member makes and owns.
template <class E>
struct Child {
  static constexpr MemberKind kind = MemberKind::child;
  using Element = E;
  Ptr<E> child;

  Child() = default;
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    if (child) child->formaOrphan();
  }
};

/// Range for a loop over a collection. Survives any change of the collection, yields copies, keeps
/// the owning entity alive.
template <class Map, class Element>
class WalkRange {
 public:
  struct Entry {
    decltype(Map::Entry::key) key;
    Element value;
  };
  class Iterator {
   public:
    explicit Iterator(const Map& map) : at_(map) { at_.done(); }
    Entry operator*() const {
      if constexpr (requires { at_.value().get(); }) {
        using Pointee = typename Element::element_type;
        return {at_.key(), Element(static_cast<Pointee*>(at_.value().get()))};
      } else {
        return {at_.key(), at_.value()};
      }
    }
    Iterator& operator++() {
      at_.next();
      return *this;
    }
    friend bool operator==(const Iterator& walk, std::default_sentinel_t) {
      return walk.at_.done();
    }

   private:
    mutable typename Map::Cursor at_;  // done() settles on the next element that is there
  };

  WalkRange(Ptr<Entity const> owner, const Map& map) : owner_(std::move(owner)), map_(map) {}
  Iterator begin() const { return Iterator(map_); }
  std::default_sentinel_t end() const { return {}; }

 private:
  Ptr<Entity const> owner_;
  const Map& map_;
};

/// Raises RangeException: the entity is there, made with another constructor argument.
[[noreturn]] MPLS_EXPORT void throwReinstantiating(const Entity& entity, std::string_view argument,
                                                   std::string_view asked, std::string_view made);

/// Refuses to hand out `there` for constructor arguments that it was not made with.
template <class E, class... Args>
requires(sizeof...(Args) != 0) void refuseOtherArguments(const E& there, const Args&... asked) {
  const auto made = there.formaArguments();
  const auto compare = [&]<std::size_t... at>(std::index_sequence<at...>) {
    const auto one = [&](std::string_view name, const auto& has, const auto& wants) {
      if (!(has == wants))
        throwReinstantiating(there, name, valueToStrep(wants).view(), valueToStrep(has).view());
    };
    (one(E::formaArgumentNames[at], std::get<at>(made), asked), ...);
  };
  compare(std::index_sequence_for<Args...>{});
}
/// What is made from nothing.
template <class E>
void refuseOtherArguments(const E& /*there*/) {}

}  // namespace Forma
