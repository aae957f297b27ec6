/// The declaration of an entity type: each member once.
///
///   class MPLS_EXPORT RouteConfigInput : public Forma::NamedEntity {
///     FORMA_ENTITY(Mpls::RouteConfigInput, Forma::NamedEntity, route)
///     /// The routes of this source; a change of one route's content is a change of `route`.
///     FORMA_SURFACING_CHILDREN(RouteKey, Route, route, newRoute, onRoute)
///    public:
///     class NotifieeConst : public Forma::NotifieeOf<RouteConfigInput> {
///      public:
///       /// The route at `key` came, went or changed; read route(key) to see which.
///       virtual void onRoute(const RouteKey& /*key*/) {}
///     };
///     using Notifiee = Forma::NotifieeMutable<RouteConfigInput, NotifieeConst>;
///     using NamedEntity::NamedEntity;
///   };
///   FORMA_DEFINE_ENTITY(Mpls::RouteConfigInput)   // once, in a source file
///
/// Attributes and value collections notify on change only; an equal write is silent. Storing an
/// entity always notifies. Mutators take keys by value: a caller may pass a key that lives in the
/// element being deleted.
#pragma once

#include "platform/forma/EntityType.h"
#include "platform/forma/Lists.h"
#include "platform/forma/Members.h"

/// The accessors of a member, for generic access.
#define FORMA_CALL(function)                                    \
  [](auto& self, auto&&... args) -> decltype(auto) {            \
    return self.function(static_cast<decltype(args)>(args)...); \
  }
#define FORMA_VISIT_ENTITY_MEMBER(Type, name)                               \
  visit(#name, &Type::name##_, FORMA_CALL(name##Is), FORMA_CALL(name##Del), \
        FORMA_CALL(name##Notify),                                           \
        [](auto* type) { return std::remove_pointer_t<decltype(type)>::name##Initial(); });

/// FORMA_ENTITY(full name, base, members...): first line of the class.
#define FORMA_ENTITY(Type, Base, ...)                                                 \
 public:                                                                              \
  using FormaSelf = Type;                                                             \
  using FormaBase = Base;                                                             \
  static constexpr std::string_view formaTypeName = #Type;                            \
  static constexpr std::string_view formaMemberNames[] = {                            \
      FORMA_EACH(FORMA_MEMBER_NAME, Type, __VA_ARGS__) ""};                           \
  [[maybe_unused]] static constexpr std::uint8_t formaDepth = Base::formaDepth + 1;   \
  [[maybe_unused]] static constexpr std::size_t formaMemberCount =                    \
      Base::formaMemberCount + std::size(formaMemberNames) - 1;                       \
  static constexpr std::uint8_t formaIndex(std::string_view name) {                   \
    return static_cast<std::uint8_t>(Base::formaMemberCount +                         \
                                     ::Forma::placeOf(formaMemberNames, name));       \
  }                                                                                   \
  template <class FormaVisit>                                                         \
  static constexpr void formaEachEntityMember(FormaVisit&& visit) {                   \
    Base::formaEachEntityMember(visit);                                               \
    FORMA_EACH(FORMA_VISIT_ENTITY_MEMBER, Type, __VA_ARGS__)                          \
  }                                                                                   \
  static const ::Forma::EntityType& formaEntityType();                                \
  const ::Forma::EntityType& formaType() const override { return formaEntityType(); } \
                                                                                      \
 private:

/// Compiles what the type's description needs: once, in a source file.
#define FORMA_DEFINE_ENTITY(Type)                                          \
  const ::Forma::EntityType& Type::formaEntityType() {                     \
    static const ::Forma::EntityType type = ::Forma::entityTypeOf<Type>(); \
    return type;                                                           \
  }

#define FORMA_LISTED(name) \
  static_assert(::Forma::lists(formaMemberNames, #name), "list this member in FORMA_ENTITY")
#define FORMA_NOTIFY(name, callback) \
  notify<&NotifieeConst::callback, NotifieeConst, formaIndex(#name), formaDepth>

/// A constructor argument that is kept and never changes; initialise `name_` in the constructor.
#define FORMA_FIXED(Type, name)                \
 public:                                       \
  const Type& name() const { return name##_; } \
                                               \
 private:                                      \
  Type name##_;

/// The argument that is the entity's key in the collection that owns it.
#define FORMA_KEY(Type, name)                      \
 public:                                           \
  const Type& formaKey() const { return name##_; } \
  FORMA_FIXED(Type, name)

/// The same, for an entity without a name of its own: it is called by the text of its key.
#define FORMA_NAMING_KEY(Type, key)                                             \
  FORMA_KEY(Type, key)                                                          \
 public:                                                                        \
  ::Forma::Name name() const override { return ::Forma::valueToStrep(key##_); } \
  FORMA_ARGUMENTS(key)

/// The same, for an entity that is made from a name and its key: it is called by that name, or,
/// when that is empty, by the text of its key, which takes no memory.
#define FORMA_NAMED_KEY(Type, key)                                               \
  FORMA_KEY(Type, key)                                                           \
 public:                                                                         \
  ::Forma::Name name() const override {                                          \
    ::Forma::Name given = FormaBase::name();                                     \
    return given.empty() ? ::Forma::Name(::Forma::valueToStrep(key##_)) : given; \
  }                                                                              \
  FORMA_ARGUMENTS(name, key)

#define FORMA_COMMA_VALUE(with, name) , name()
/// The constructor's arguments, by the names of their getters, in order.
#define FORMA_ARGUMENTS(...)                                                       \
 public:                                                                           \
  auto formaArguments() const {                                                    \
    return ::Forma::argumentTuple(0 FORMA_EACH(FORMA_COMMA_VALUE, , __VA_ARGS__)); \
  }                                                                                \
  static constexpr std::string_view formaArgumentNames[] = {                       \
      FORMA_EACH(FORMA_MEMBER_NAME, , __VA_ARGS__)};                               \
                                                                                   \
 private:

/// The constructor takes nothing.
#define FORMA_NO_ARGUMENTS                           \
 public:                                             \
  std::tuple<> formaArguments() const { return {}; } \
                                                     \
 private:

/// An attribute: name() and nameIs(v); `callback` of NotifieeConst runs when the value changed.
/// Further arguments are its initial value.
#define FORMA_ATTRIBUTE(Type, name, callback, ...)              \
 public:                                                        \
  const Type& name() const { return name##_.value; }            \
  void name##Is(Type v) {                                       \
    FORMA_LISTED(name);                                         \
    if (name##_.value == v) return;                             \
    formaMayChange();                                           \
    std::swap(name##_.value, v);                                \
    name##Notify();                                             \
  }                                                             \
  void name##Notify() const { FORMA_NOTIFY(name, callback)(); } \
  static Type name##Initial() { return Type{__VA_ARGS__}; }     \
                                                                \
 private:                                                       \
  ::Forma::Attribute<Type> name##_{__VA_ARGS__};

/// What every collection offers; `Yielded` is what a walk yields beside the key.
#define FORMA_COLLECTION(Key, Yielded, name, callback)                            \
 public:                                                                          \
  std::size_t name##s() const { return name##_.map.size(); }                      \
  /** Makes room for that many elements in all; for bulk loads. */                \
  void name##Reserve(std::size_t count) { name##_.map.reserve(count); }           \
  auto name##IteratorConst() const {                                              \
    return ::Forma::WalkRange<decltype(name##_.map), Yielded>(this, name##_.map); \
  }                                                                               \
  void name##Del(Key key) {                                                       \
    formaMayChange();                                                             \
    decltype(name##_)::Held gone{};                                               \
    if (!name##_.map.take(key, &gone)) return;                                    \
    name##_.removed(gone);                                                        \
    FORMA_NOTIFY(name, callback)(key);                                            \
  }                                                                               \
  void name##DelAll() {                                                           \
    for (const auto& one : name##IteratorConst()) name##Del(one.key);             \
  }                                                                               \
  /** Repeats the notification for `key`, which may live in the element. */       \
  void name##Notify(Key key) const {                                              \
    FORMA_LISTED(name);                                                           \
    FORMA_NOTIFY(name, callback)(key);                                            \
  }                                                                               \
                                                                                  \
 private:

/// Reading and writing of values by key.
#define FORMA_VALUE_COLLECTION(KeyType, ValueType, name, callback)                        \
 public:                                                                                  \
  /** The value at `key`; a default value when there is none. */                          \
  ValueType name(const KeyType& key) const { return name##_.get(key); }                   \
  /** The value at `key`, valid until the next change; null when there is none. */        \
  const ValueType* name##Find(const KeyType& key) const { return name##_.map.find(key); } \
  void name##Is(KeyType key, ValueType value) {                                           \
    formaMayChange();                                                                     \
    if (name##_.put(key, std::move(value))) FORMA_NOTIFY(name, callback)(key);            \
  }                                                                                       \
  FORMA_COLLECTION(KeyType, ValueType, name, callback)

#define FORMA_VALUES_IN(Map, KeyType, ValueType, name, newName, callback)                    \
 private:                                                                                    \
  ::Forma::Values<KeyType, ValueType, ::Forma::Map> name##_;                                 \
                                                                                             \
 public:                                                                                     \
  void newName(KeyType key, ValueType value) { name##Is(std::move(key), std::move(value)); } \
  FORMA_VALUE_COLLECTION(KeyType, ValueType, name, callback)

/// Values by key: name(key), nameFind, nameIs(key, value), newName(key, value), nameDel,
/// nameDelAll, names(), nameIteratorConst(), nameNotify(key).
#define FORMA_VALUES(Key, Value, name, newName, callback) \
  FORMA_VALUES_IN(HashMap, Key, Value, name, newName, callback)
/// The same; walks go in key order.
#define FORMA_ORDERED_VALUES(Key, Value, name, newName, callback) \
  FORMA_VALUES_IN(OrderedMap, Key, Value, name, newName, callback)
/// The same for small keys and values, of which there mostly is one.
#define FORMA_FEW_VALUES(Key, Value, name, newName, callback) \
  FORMA_VALUES_IN(FewMap, Key, Value, name, newName, callback)

/// Values that know their key, each filed under it: as FORMA_VALUES, but written by nameIs(value)
/// and newName(value). `keyField` is the field of the value that is its key. (nameIs(key, value),
/// which generic access uses, files the value as the one of that key.)
#define FORMA_KEYED_VALUES(KeyType, ValueType, keyField, name, newName, callback)          \
 private:                                                                                  \
  ::Forma::KeyedValues<KeyType, ValueType, &ValueType::keyField, &ValueType::keyField##Is> \
      name##_;                                                                             \
                                                                                           \
 public:                                                                                   \
  void name##Is(ValueType value) {                                                         \
    KeyType key = value.keyField();                                                        \
    name##Is(std::move(key), std::move(value));                                            \
  }                                                                                        \
  void newName(ValueType value) { name##Is(std::move(value)); }                            \
  FORMA_VALUE_COLLECTION(KeyType, ValueType, name, callback)

/// Entities owned elsewhere, each under its own key (`Element::formaKey()`) or under one that the
/// caller gives. Storing one, by nameIs or newName, always notifies, even the same again. Null is
/// refused.
#define FORMA_REFERENCES(Key, ElementType, name, newName, callback)                               \
 private:                                                                                         \
  ::Forma::References<Key, ElementType> name##_;                                                  \
                                                                                                  \
 public:                                                                                          \
  ::Forma::Ptr<ElementType> name(const Key& key) const { return name##Find(key); }                \
  ElementType* name##Find(const Key& key) const { return name##_.find(key); }                     \
  void name##Is(Key key, ::Forma::Ptr<ElementType> element) {                                     \
    if (!element) ::Forma::throwNullParameter(formaTypeName, #name);                              \
    formaMayChange();                                                                             \
    name##_.map.put(key, std::move(element));                                                     \
    FORMA_NOTIFY(name, callback)(key);                                                            \
  }                                                                                               \
  template <class FormaElement = ElementType>                                                     \
  requires ::Forma::KeyedBy<FormaElement, Key>                                                    \
  void name##Is(::Forma::Ptr<ElementType> element) {                                              \
    if (!element) ::Forma::throwNullParameter(formaTypeName, #name);                              \
    Key key = ::Forma::keyOf<Key>(*element);                                                      \
    name##Is(std::move(key), std::move(element));                                                 \
  }                                                                                               \
  void newName(Key key, ::Forma::Ptr<ElementType> element) {                                      \
    name##Is(std::move(key), std::move(element));                                                 \
  }                                                                                               \
  template <class FormaElement = ElementType>                                                     \
  requires ::Forma::KeyedBy<FormaElement, Key>                                                    \
  void newName(::Forma::Ptr<ElementType> element) { name##Is<FormaElement>(std::move(element)); } \
  FORMA_COLLECTION(Key, ::Forma::Ptr<ElementType>, name, callback)

/// One entity owned elsewhere, or none: name() is null. Storing one always notifies, even the same
/// again.
#define FORMA_REFERENCE(ElementType, name, callback)                        \
 public:                                                                    \
  const ::Forma::Ptr<ElementType>& name() const { return name##_.element; } \
  void name##Is(::Forma::Ptr<ElementType> element) {                        \
    FORMA_LISTED(name);                                                     \
    formaMayChange();                                                       \
    if (!element && !name##_.element) return;                               \
    std::swap(name##_.element, element);                                    \
    name##Notify();                                                         \
  }                                                                         \
  void name##Del() { name##Is(nullptr); }                                   \
  void name##Notify() const { FORMA_NOTIFY(name, callback)(); }             \
                                                                            \
 private:                                                                   \
  ::Forma::Reference<ElementType> name##_;

#define FORMA_CHILDREN_IN(Map, surfaces, Key, ElementType, name, newName, callback)            \
 private:                                                                                      \
  ::Forma::Children<Key, ElementType, surfaces, ::Forma::MemberKind::children, ::Forma::Map>   \
      name##_;                                                                                 \
                                                                                               \
 public:                                                                                       \
  ::Forma::Ptr<ElementType> name(const Key& key) const { return name##Find(key); }             \
  /** The child at `key`, not owned; null when there is none. */                               \
  ElementType* name##Find(const Key& key) const { return name##_.find(key); }                  \
  /** Gets or creates. Raises RangeException when it is there, made otherwise. */              \
  template <class... FormaArgs>                                                                \
  ::Forma::Ptr<ElementType> name##Is(Key key, FormaArgs... args) {                             \
    if (ElementType* const there = name##Find(key)) {                                          \
      if constexpr (sizeof...(args) != 0) ::Forma::refuseOtherArguments(*there, key, args...); \
      return there;                                                                            \
    }                                                                                          \
    formaMayChange();                                                                          \
    ::Forma::Ptr<ElementType> made(new ElementType(key, std::move(args)...));                  \
    formaAdopt(*made, formaIndex(#name), surfaces);                                            \
    name##_.map.put(key, made);                                                                \
    FORMA_NOTIFY(name, callback)(key);                                                         \
    return made;                                                                               \
  }                                                                                            \
  template <class... FormaArgs>                                                                \
  ::Forma::Ptr<ElementType> newName(Key key, FormaArgs... args) {                              \
    return name##Is(std::move(key), std::move(args)...);                                       \
  }                                                                                            \
  FORMA_COLLECTION(Key, ::Forma::Ptr<ElementType>, name, callback)

/// Entities that the collection makes from their key (and further arguments) and owns.
#define FORMA_CHILDREN(Key, Element, name, newName, callback) \
  FORMA_CHILDREN_IN(HashMap, false, Key, Element, name, newName, callback)
/// The same; walks go in key order.
#define FORMA_ORDERED_CHILDREN(Key, Element, name, newName, callback) \
  FORMA_CHILDREN_IN(OrderedMap, false, Key, Element, name, newName, callback)
/// As FORMA_CHILDREN; a change of a child's content is announced as a change of its key, too.
#define FORMA_SURFACING_CHILDREN(Key, Element, name, newName, callback) \
  FORMA_CHILDREN_IN(HashMap, true, Key, Element, name, newName, callback)

/// One entity that the member makes from its constructor's arguments and owns.
#define FORMA_CHILD(ElementType, name, newName, callback)                         \
 private:                                                                         \
  ::Forma::Child<ElementType> name##_;                                            \
                                                                                  \
 public:                                                                          \
  ::Forma::Ptr<ElementType> name() const { return name##_.child; }                \
  /** Gets or creates. Raises RangeException when it is there, made otherwise. */ \
  template <class... FormaArgs>                                                   \
  ::Forma::Ptr<ElementType> name##Is(FormaArgs... args) {                         \
    FORMA_LISTED(name);                                                           \
    using Arguments = decltype(name##_.child->formaArguments());                  \
    return name##From(Arguments(std::move(args)...));                             \
  }                                                                               \
  template <class... FormaArgs>                                                   \
  ::Forma::Ptr<ElementType> newName(FormaArgs... args) {                          \
    return name##Is(std::move(args)...);                                          \
  }                                                                               \
  void name##Del() {                                                              \
    formaMayChange();                                                             \
    const ::Forma::Ptr<ElementType> gone = std::exchange(name##_.child, nullptr); \
    if (!gone) return;                                                            \
    gone->formaOrphan();                                                          \
    name##Notify();                                                               \
  }                                                                               \
  void name##Notify() const { FORMA_NOTIFY(name, callback)(); }                   \
                                                                                  \
 private:                                                                         \
  template <class Arguments>                                                      \
  ::Forma::Ptr<ElementType> name##From(const Arguments& arguments) {              \
    const auto make = [](const auto&... a) { return new ElementType(a...); };     \
    const auto check = [&](const auto&... a) {                                    \
      ::Forma::refuseOtherArguments(*name##_.child, a...);                        \
    };                                                                            \
    if (name##_.child) {                                                          \
      std::apply(check, arguments);                                               \
      return name##_.child;                                                       \
    }                                                                             \
    formaMayChange();                                                             \
    ::Forma::Ptr<ElementType> made(std::apply(make, arguments));                  \
    formaAdopt(*made, formaIndex(#name), false);                                  \
    name##_.child = made;                                                         \
    name##Notify();                                                               \
    return made;                                                                  \
  }

/// FORMA_FACTORY(routeConfigFactory, RouteConfig, Forma::Name): the function that makes an entity,
/// named after its type with a lower-case first letter and "Factory" behind it.
#define FORMA_FACTORY(function, Type, ...)                                                 \
  static_assert(::Forma::isFactoryName(#function, Type::formaTypeName),                    \
                "a factory is called as its type, first letter in lower case, + Factory"); \
  inline constexpr ::Forma::Factory<Type __VA_OPT__(, ) __VA_ARGS__> function{};
