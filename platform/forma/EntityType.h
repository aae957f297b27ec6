/// What the runtime knows of an entity type: its members, and access to them by name.
///
/// Made from the one declaration (Declare.h), once per type, by the source file that defines it.
/// Keys and values are passed as pointers to their registered types (TypeRegistry).
///
/// Thread    descriptions are immutable; the operations run in the thread of the entity.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

#include "platform/Export.h"
#include "platform/forma/MemberReplica.h"
#include "platform/forma/Members.h"
#include "platform/forma/TypeRegistry.h"

namespace Forma {

/// One member of an entity type.
struct MemberType {
  using Visit = std::function<void(const void* key, const void* value)>;

  std::string_view name;
  MemberKind kind;
  std::uint8_t index = 0;      ///< among all members of the type, those of its bases first
  std::string_view keyType;    ///< empty for members without keys
  std::string_view valueType;  ///< a value type, or the entity type of the elements
  bool surfaces = false;       ///< a change of a child's content is a change of its key

  /// Elements; 1 for an attribute, 0 or 1 for a single child or reference.
  std::function<std::size_t(const Entity& self)> size;
  /// Calls `visit(key, value)` for each; the value is an `Entity const` where elements are
  /// entities.
  std::function<void(const Entity& self, const Visit& visit)> each;
  /// The value at `key`, or null. Valid until the next change.
  std::function<const void*(const Entity& self, const void* key)> find;
  /// Writes a value, through the member's accessor: notifies and refuses as that does. For
  /// references the value is a `Ptr<Entity const>`. Empty for members that make their elements.
  std::function<void(Entity& self, const void* key, const void* value)> put;
  /// Gets or creates the element at `key`; `arguments` holds what encodeArguments() gives: nothing
  /// for elements made from their key alone, else all constructor arguments, the key first. Raises
  /// ParseException when they are damaged or of another key. Empty for members that hold values.
  std::function<Ptr<Entity>(Entity& self, const void* key, BytesIn& arguments)> create;
  /// Appends what create() needs to make `child` again.
  std::function<void(const Entity& child, std::string& out)> encodeArguments;
  /// Removes one element; does nothing when it is absent. Empty for attributes.
  std::function<void(Entity& self, const void* key)> erase;

  /// Announces that the content of `child`, which stands in this member, changed.
  std::function<void(Entity& self, const Entity& child)> notifyChild;
  /// Removes `child`, which stands in this member.
  std::function<void(Entity& self, const Entity& child)> eraseChild;

  /// The table itself. Empty for other members. A table's find() gives a copy of the row, valid
  /// until the next find() of such a row in this thread.
  std::function<TableBase&(Entity& self)> table;

  MemberReplica replica;
};

/// One entity type.
struct EntityType {
  std::string_view name;
  std::vector<MemberType> members;  ///< those of the bases first
  /// The types of the constructor's arguments, as far as it declares them (FORMA_ARGUMENTS).
  std::vector<std::string_view> arguments;
  /// Makes one from a name alone; null when the constructor takes something else.
  Ptr<Entity> (*make)(const Name& name) = nullptr;

  const MemberType* member(std::size_t index) const {
    return index < members.size() ? &members[index] : nullptr;
  }
  const MemberType* findMember(std::string_view wanted) const {
    for (const MemberType& one : members)
      if (one.name == wanted) return &one;
    return nullptr;
  }
};

/// Raises NameException: the entity is not of that type.
[[noreturn]] MPLS_EXPORT void throwNotA(const Entity& entity, std::string_view type);

/// Elements that bring a key of that type: the one they were made with, or their name.
template <class E, class Key>
concept KeyedBy = requires(const E& e) {
  { e.formaKey() } -> std::convertible_to<Key>;
}
|| (!requires(const E& e) { e.formaKey(); } && std::convertible_to<Name, Key>);

template <class... Ts>
std::tuple<Ts...> argumentTuple(int, const Ts&... values) {
  return {values...};
}

/// How generic access reaches one member of T: the member, and its accessors.
template <class T, class M, class Is, class Del, class Notify>
struct MemberAccess {
  static const T& as(const Entity& e) { return static_cast<const T&>(e); }
  static T& as(Entity& e) { return static_cast<T&>(e); }
  template <class X>
  static const X& at(const void* p) {
    return *static_cast<const X*>(p);
  }

  static void attribute(MemberType& type, M T::*member) {
    using V = typename M::Value;
    type.valueType = typeName<V>();
    type.size = [](const Entity&) -> std::size_t { return 1; };
    type.each = [member](const Entity& e, const MemberType::Visit& visit) {
      visit(nullptr, &(as(e).*member).value);
    };
    type.find = [member](const Entity& e, const void*) -> const void* {
      return &(as(e).*member).value;
    };
    type.put = [](Entity& e, const void*, const void* value) { Is{}(as(e), V(at<V>(value))); };
  }

  /// What all collections have in common.
  static void collection(MemberType& type, M T::*member) {
    using K = typename M::Key;
    type.keyType = typeName<K>();
    type.size = [member](const Entity& e) { return (as(e).*member).map.size(); };
    type.erase = [](Entity& e, const void* key) { Del{}(as(e), K(at<K>(key))); };
  }

  static void values(MemberType& type, M T::*member) {
    using K = typename M::Key;
    using V = typename M::Value;
    collection(type, member);
    type.valueType = typeName<V>();
    type.each = [member](const Entity& e, const MemberType::Visit& visit) {
      const Ptr<Entity const> pinned(&e);
      for (const auto& one : (as(e).*member).map) visit(&one.key, &one.value);
    };
    type.find = [member](const Entity& e, const void* key) -> const void* {
      return (as(e).*member).map.find(at<K>(key));
    };
    type.put = [](Entity& e, const void* key, const void* value) {
      Is{}(as(e), K(at<K>(key)), V(at<V>(value)));
    };
  }

  /// Collections whose elements are entities.
  static void entities(MemberType& type, M T::*member) {
    using K = typename M::Key;
    collection(type, member);
    type.each = [member](const Entity& e, const MemberType::Visit& visit) {
      const Ptr<Entity const> pinned(&e);
      for (const auto& one : (as(e).*member).map)
        visit(&one.key, static_cast<const Entity*>(one.value.get()));
    };
    type.find = [member](const Entity& e, const void* key) -> const void* {
      return static_cast<const Entity*>((as(e).*member).find(at<K>(key)));
    };
  }

  static void references(MemberType& type, M T::*member) {
    using K = typename M::Key;
    using E = typename M::Element;
    entities(type, member);
    type.valueType = E::formaTypeName;
    type.put = [](Entity& e, const void* key, const void* value) {
      Is{}(as(e), K(at<K>(key)), elementAt<E>(value));
    };
  }

  static void reference(MemberType& type, M T::*member) {
    using E = typename M::Element;
    type.valueType = E::formaTypeName;
    atMostOne(type,
              [member](const Entity& e) -> const Entity* { return (as(e).*member).element.get(); });
    type.put = [](Entity& e, const void*, const void* value) { Is{}(as(e), elementAt<E>(value)); };
  }

  /// The element that a `Ptr<Entity const>` names.
  template <class E>
  static Ptr<E> elementAt(const void* value) {
    const auto& pointer = at<Ptr<Entity const>>(value);
    const auto* element = dynamic_cast<const E*>(pointer.get());
    if (pointer && !element) throwNotA(*pointer, E::formaTypeName);
    return Ptr<E>(const_cast<E*>(element));
  }

  /// Members that hold one entity or none; `get` gives it, or null.
  template <class Get>
  static void atMostOne(MemberType& type, Get get) {
    type.size = [get](const Entity& e) -> std::size_t { return get(e) ? 1 : 0; };
    type.each = [get](const Entity& e, const MemberType::Visit& visit) {
      if (const Entity* one = get(e)) visit(nullptr, one);
    };
    type.find = [get](const Entity& e, const void*) -> const void* { return get(e); };
    type.erase = [](Entity& e, const void*) { Del{}(as(e)); };
  }

  static void children(MemberType& type, M T::*member) {
    using K = typename M::Key;
    using E = typename M::Element;
    entities(type, member);
    type.valueType = E::formaTypeName;
    type.notifyChild = [](Entity& e, const Entity& child) {
      Notify{}(as(e), keyOf<K>(static_cast<const E&>(child)));
    };
    type.eraseChild = [member](Entity& e, const Entity& child) {
      K key = keyOf<K>(static_cast<const E&>(child));
      if ((as(e).*member).find(key) == &child) Del{}(as(e), std::move(key));
    };
    if constexpr (madeFromKey<E, K>()) {
      type.create = [](Entity& e, const void* key, BytesIn&) -> Ptr<Entity> {
        return Is{}(as(e), K(at<K>(key)));
      };
      type.encodeArguments = [](const Entity&, std::string&) {};
    } else {
      withArguments<E, K>(type);
    }
  }

  static void child(MemberType& type, M T::*member) {
    using E = typename M::Element;
    type.valueType = E::formaTypeName;
    atMostOne(type,
              [member](const Entity& e) -> const Entity* { return (as(e).*member).child.get(); });
    type.eraseChild = [](Entity& e, const Entity&) { Del{}(as(e)); };
    type.notifyChild = [](Entity& e, const Entity&) { Notify{}(as(e)); };
    withArguments<E, void>(type);
  }

  /// Elements that are made from all their declared constructor arguments, the key `K` first.
  template <class E, class K>
  static void withArguments(MemberType& type) {
    using Arguments = decltype(std::declval<const E&>().formaArguments());
    type.create = [](Entity& e, [[maybe_unused]] const void* key, BytesIn& in) -> Ptr<Entity> {
      Arguments arguments;
      std::apply([&](auto&... each) { (decode(in, each), ...); }, arguments);
      if constexpr (!std::is_void_v<K>)
        if (!(std::get<0>(arguments) == at<K>(key))) in.fail("the arguments of that key");
      return std::apply([&](auto&... each) { return Ptr<Entity>(Is{}(as(e), each...)); },
                        arguments);
    };
    type.encodeArguments = [](const Entity& entity, std::string& out) {
      std::apply([&](const auto&... each) { (encode(out, each), ...); },
                 static_cast<const E&>(entity).formaArguments());
    };
  }
};

template <class T, class M, class Is, class Del, class Notify, class Initial>
MemberType memberTypeOf(std::string_view name, std::size_t index, M T::*member, Is is, Del del,
                        Notify notify, Initial initial) {
  using Access = MemberAccess<T, M, Is, Del, Notify>;
  using Replicated = ReplicaAccess<T, M, Notify>;
  MemberType type{};
  type.name = name;
  type.kind = M::kind;
  type.index = static_cast<std::uint8_t>(index);
  if constexpr (M::kind == MemberKind::attribute) {
    Access::attribute(type, member);
    Replicated::attribute(type.replica, member, initial);
  } else if constexpr (M::kind == MemberKind::values) {
    Access::values(type, member);
    Replicated::values(type.replica, member);
  } else if constexpr (M::kind == MemberKind::references) {
    Access::references(type, member);
    Replicated::references(type.replica, member);
  } else if constexpr (M::kind == MemberKind::reference) {
    Access::reference(type, member);
    Replicated::reference(type.replica, member);
  } else if constexpr (M::kind == MemberKind::children) {
    type.surfaces = M::surfaces;
    Access::children(type, member);
    Replicated::children(type.replica, member, type.index);
  } else if constexpr (M::kind == MemberKind::child) {
    Access::child(type, member);
    Replicated::child(type.replica, member, type.index);
  } else if constexpr (M::kind == MemberKind::table) {
    M::formaDescribe(type, member, is, del, notify);
  } else {
    T::formaEntries(type, member);
  }
  return type;
}

template <class... Ts>
std::vector<std::string_view> typeNames(const std::tuple<Ts...>*) {
  return {typeName<Ts>()...};
}

template <class T>
EntityType entityTypeOf() {
  EntityType type{};
  type.name = T::formaTypeName;
  T::formaEachEntityMember([&](std::string_view name, auto member, auto... accessors) {
    type.members.push_back(memberTypeOf(name, type.members.size(), member, accessors...));
  });
  if constexpr (requires(const T& e) { e.formaArguments(); }) {
    using Arguments = decltype(std::declval<const T&>().formaArguments());
    type.arguments = typeNames(static_cast<const Arguments*>(nullptr));
  }
  if constexpr (std::is_constructible_v<T, Name>)
    type.make = [](const Name& name) -> Ptr<Entity> { return new T(name); };
  return type;
}

/// A function object that makes entities of type T from Args. Factories never return null.
template <class T, class... Args>
struct Factory {
  Ptr<T> operator()(Args... args) const { return Ptr<T>(new T(std::move(args)...)); }
};

/// True when `function` is the last word of `type` in lower camel case with "Factory" behind it.
/// An abbreviation at the start (LDPThing) keeps its other capitals.
constexpr bool isFactoryName(std::string_view function, std::string_view type) {
  type.remove_prefix(type.rfind(':') + 1);
  if (!function.ends_with("Factory")) return false;
  function.remove_suffix(std::string_view("Factory").size());
  const char first = type.empty() ? '\0' : static_cast<char>(type.front() | 0x20);
  return function.size() == type.size() && function.front() == first &&
         function.substr(1) == type.substr(1);
}

}  // namespace Forma
