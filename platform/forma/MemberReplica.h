/// How replication reaches one member of an entity type: reads it in wire form, and writes it
/// without telling anybody (Content.h tells when all is written).
///
/// Thread    descriptions are immutable; the operations run in the thread of the entity.
#pragma once

#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "platform/forma/Members.h"
#include "platform/forma/WireForm.h"

namespace Forma {

/// Keys and values are pointers to memory of their types; keys are null where a member has none.
struct MemberReplica {
  const WireForm* key = nullptr;    ///< null: no keys
  const WireForm* value = nullptr;  ///< null: elements are entities

  /// Repeats the notification of `key`.
  std::function<void(const Entity& self, const void* key)> tell;
  /// Attribute: whether it is as declared.
  std::function<bool(const Entity& self)> isInitial;
  /// Attribute: appends the declared value.
  std::function<void(std::string& out)> encodeInitial;
  /// Attribute, values: moves a value in; whether that changed anything.
  std::function<bool(Entity& self, const void* key, void* value)> store;
  /// References: makes an element that is filed nowhere, from all of `arguments`.
  std::function<Ptr<Entity>(BytesIn& arguments)> makeElement;
  /// References: files an element of the member's type.
  std::function<void(Entity& self, const void* key, Entity& element)> file;
  /// Children: gets or creates the child that was made from these arguments, in place of one made
  /// from others; `made` tells which. Raises ParseException, and makes none, when they are not of
  /// that key, or go on.
  std::function<Entity*(Entity& self, const void* key, BytesIn& arguments, bool& made)> child;
  /// References, children: appends the constructor arguments of an element beyond what its key
  /// gives.
  std::function<void(const Entity& element, std::string& out)> encodeArguments;
  /// Children: appends the key of a child.
  std::function<void(const Entity& child, std::string& out)> encodeKeyOf;
  /// Removes the element; sets an attribute as declared. Whether that changed anything.
  std::function<bool(Entity& self, const void* key)> drop;
};

/// The key under which a collection files an element.
template <class Key, class E>
Key keyOf(const E& element) {
  if constexpr (requires { element.formaKey(); }) return element.formaKey();
  else return element.name();
}

/// Whether a collection makes its elements from the key alone. Not so when the arguments that the
/// element declares begin with the key and go on.
template <class E, class Key>
constexpr bool madeFromKey() {
  if constexpr (!std::is_constructible_v<E, Key>) {
    return false;
  } else if constexpr (requires(const E& e) { e.formaArguments(); }) {
    using Arguments = decltype(std::declval<const E&>().formaArguments());
    return std::tuple_size_v<Arguments> == 1 ||
           !std::is_same_v<std::tuple_element_t<0, Arguments>, Key>;
  } else {
    return true;
  }
}

/// Makes MemberReplica for one member of T. `Notify` repeats a notification, `Initial` gives an
/// attribute's declared value.
template <class T, class M, class Notify>
struct ReplicaAccess {
  static const T& as(const Entity& e) { return static_cast<const T&>(e); }
  static T& as(Entity& e) { return static_cast<T&>(e); }
  template <class X>
  static const X& at(const void* p) {
    return *static_cast<const X*>(p);
  }

  template <class Initial>
  static void attribute(MemberReplica& type, M T::*member, Initial) {
    using V = typename M::Value;
    type.value = &wireFormOf<V>;
    type.tell = [](const Entity& e, const void*) { Notify{}(as(e)); };
    type.isInitial = [member](const Entity& e) {
      return (as(e).*member).value == Initial{}(static_cast<const T*>(nullptr));
    };
    type.encodeInitial = [](std::string& out) {
      encode(out, Initial{}(static_cast<const T*>(nullptr)));
    };
    const auto set = [member](Entity& e, V& v) {
      V& value = (as(e).*member).value;
      if (value == v) return false;
      std::swap(value, v);
      return true;
    };
    type.store = [set](Entity& e, const void*, void* v) { return set(e, *static_cast<V*>(v)); };
    type.drop = [set](Entity& e, const void*) {
      V initial = Initial{}(static_cast<const T*>(nullptr));
      return set(e, initial);
    };
  }

  /// What all collections have in common.
  static void collection(MemberReplica& type, M T::*member) {
    using K = typename M::Key;
    type.key = &wireFormOf<K>;
    type.tell = [](const Entity& e, const void* key) { Notify{}(as(e), K(at<K>(key))); };
    type.drop = [member](Entity& e, const void* key) {
      auto& collection = as(e).*member;
      typename M::Held gone{};
      if (!collection.map.take(at<K>(key), &gone)) return false;
      collection.removed(gone);
      return true;
    };
  }

  static void values(MemberReplica& type, M T::*member) {
    using K = typename M::Key;
    using V = typename M::Value;
    collection(type, member);
    type.value = &wireFormOf<V>;
    type.store = [member](Entity& e, const void* key, void* value) {
      return (as(e).*member).put(K(at<K>(key)), std::move(*static_cast<V*>(value)));
    };
  }

  static void references(MemberReplica& type, M T::*member) {
    using K = typename M::Key;
    using E = typename M::Element;
    collection(type, member);
    type.file = [member](Entity& e, const void* key, Entity& element) {
      (as(e).*member).map.put(K(at<K>(key)), Ptr<E>(static_cast<E*>(&element)));
    };
    makesElements<E>(type);
  }

  static void reference(MemberReplica& type, M T::*member) {
    using E = typename M::Element;
    type.tell = [](const Entity& e, const void*) { Notify{}(as(e)); };
    type.drop = [member](Entity& e, const void*) {
      return static_cast<bool>(std::exchange((as(e).*member).element, nullptr));
    };
    type.file = [member](Entity& e, const void*, Entity& element) {
      (as(e).*member).element = Ptr<E>(static_cast<E*>(&element));
    };
    makesElements<E>(type);
  }

  static void children(MemberReplica& type, M T::*member, std::uint8_t index) {
    using K = typename M::Key;
    using E = typename M::Element;
    collection(type, member);
    type.encodeKeyOf = [](const Entity& child, std::string& out) {
      encode(out, keyOf<K>(static_cast<const E&>(child)));
    };
    const auto put = [member, index](Entity& e, const K& key, Ptr<Entity> made) {
      if (E* before = (as(e).*member).find(key)) before->formaOrphan();
      as(e).formaAdopt(*made, index, M::surfaces);
      Entity* const child = made.get();
      (as(e).*member).map.put(key, std::move(made));
      return child;
    };
    if constexpr (madeFromKey<E, K>()) {
      type.encodeArguments = [](const Entity&, std::string&) {};
      type.child = [member, put](Entity& e, const void* key, BytesIn& in, bool& made) -> Entity* {
        const K& k = at<K>(key);
        if (!in.atEnd()) in.fail("no arguments");
        E* const there = (as(e).*member).find(k);
        made = !there;
        return there ? there : put(e, k, Ptr<Entity>(new E(k)));
      };
    } else {
      encodesArguments<E>(type);
      type.child = [member, put](Entity& e, const void* key, BytesIn& in, bool& made) -> Entity* {
        const K& k = at<K>(key);
        auto arguments = decodeArguments<E>(in);
        if (!(std::get<0>(arguments) == k)) in.fail("the arguments of that key");
        E* const there = (as(e).*member).find(k);
        made = !there || !(there->formaArguments() == arguments);
        return made ? put(e, k, makeFrom<E>(arguments)) : there;
      };
    }
  }

  static void child(MemberReplica& type, M T::*member, std::uint8_t index) {
    using E = typename M::Element;
    encodesArguments<E>(type);
    type.encodeKeyOf = [](const Entity&, std::string&) {};
    type.tell = [](const Entity& e, const void*) { Notify{}(as(e)); };
    type.child = [member, index](Entity& e, const void*, BytesIn& in, bool& made) -> Entity* {
      auto arguments = decodeArguments<E>(in);
      auto& child = (as(e).*member).child;
      made = !child || !(child->formaArguments() == arguments);
      if (!made) return child.get();
      Ptr<E> next(static_cast<E*>(makeFrom<E>(arguments).get()));
      if (child) child->formaOrphan();
      as(e).formaAdopt(*next, index, false);
      child = std::move(next);
      return child.get();
    };
    type.drop = [member](Entity& e, const void*) {
      const Ptr<E> gone = std::exchange((as(e).*member).child, nullptr);
      if (gone) gone->formaOrphan();
      return static_cast<bool>(gone);
    };
  }

 private:
  template <class E>
  static auto decodeArguments(BytesIn& in) {
    decltype(std::declval<const E&>().formaArguments()) arguments;
    std::apply([&](auto&... each) { (decode(in, each), ...); }, arguments);
    if (!in.atEnd()) in.fail("the end of the arguments");
    return arguments;
  }
  template <class E, class Arguments>
  static Ptr<Entity> makeFrom(const Arguments& arguments) {
    return std::apply([](const auto&... each) { return Ptr<Entity>(new E(each...)); }, arguments);
  }
  /// References: elements are made where their owner is not.
  template <class E>
  static void makesElements(MemberReplica& type) {
    type.makeElement = [](BytesIn& in) -> Ptr<Entity> {
      using Made = std::remove_const_t<E>;
      return makeFrom<Made>(decodeArguments<Made>(in));
    };
    encodesArguments<E>(type);
  }
  template <class E>
  static void encodesArguments(MemberReplica& type) {
    type.encodeArguments = [](const Entity& entity, std::string& out) {
      std::apply([&](const auto&... each) { (encode(out, each), ...); },
                 static_cast<const E&>(entity).formaArguments());
    };
  }
};

}  // namespace Forma
