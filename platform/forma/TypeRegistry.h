/// Types known by name: generic make, get, set, print, parse, stream, by type and field name.
///
/// Filled by explicit calls, one function per folder of types (`Netbase::registerTypes(registry)`),
/// never by static initialisers. Scalars and strings of the runtime are there from the start.
///
/// Thread    filled by one thread before use; afterwards read from any.
/// Cost      lookups by name; meant for tools, replication set-up and tests, not for hot paths.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <typeindex>
#include <vector>

#include "platform/Export.h"
#include "platform/forma/TypeName.h"
#include "platform/forma/Value.h"

namespace Forma {

/// What a type is made of.
enum class TypeKind : std::uint8_t {
  scalar,       ///< an integer, a bool, a double, a string
  enumeration,  ///< named numbers
  record,       ///< fields
  opaque        ///< a value with a text of its own and no visible fields (an address)
};

/// One registered value type and its operations on raw memory of that type.
struct ValueType {
  struct Field {
    std::string_view name;
    std::string_view type;  ///< full name of the field's type
    std::uint32_t index;    ///< place in declaration order
    std::function<const void*(const void* self)> get;
    std::function<void(void* self, const void* value)> set;  ///< raises RangeException
  };
  struct Member {
    std::string_view name;
    std::int64_t number;
  };

  std::string_view name;
  TypeKind kind = TypeKind::opaque;
  std::vector<Field> fields;
  std::vector<Member> members;  ///< of an enumeration

  std::shared_ptr<void> (*make)();
  std::shared_ptr<void> (*copy)(const void* from);
  bool (*equal)(const void* a, const void* b);
  std::uint64_t (*hash)(const void* v);
  void (*print)(std::string& out, const void* v);
  void (*parse)(TextIn& in, void* v);
  void (*encode)(std::string& out, const void* v);
  void (*decode)(BytesIn& in, void* v);

  /// The field called `name`; raises NameException when there is none.
  MPLS_EXPORT const Field& field(std::string_view name) const;
};

class TypeRegistry;

/// A value of a type that is known at run time only. Copies are deep.
class MPLS_EXPORT AnyValue {
 public:
  AnyValue(const TypeRegistry& registry, const ValueType& type);
  AnyValue(const AnyValue& o) : AnyValue(*o.registry_, *o.type_, o.data()) {}
  AnyValue(AnyValue&&) noexcept = default;
  AnyValue& operator=(AnyValue o) noexcept;

  const ValueType& type() const { return *type_; }
  const void* data() const { return data_.get(); }
  void* data() { return data_.get(); }

  String8 text() const;
  /// Parses the whole text; unchanged when it raises ParseException or RangeException.
  void textIs(std::string_view text);
  std::string wire() const;
  /// Decodes all the bytes; unchanged when it raises.
  void wireIs(std::string_view bytes);

  /// One field, as a value of its own.
  AnyValue field(std::string_view name) const;
  void fieldIs(std::string_view name, const AnyValue& value);

  std::uint64_t hash() const { return type_->hash(data()); }
  friend bool operator==(const AnyValue& a, const AnyValue& b) {
    return a.type_ == b.type_ && a.type_->equal(a.data(), b.data());
  }

 private:
  AnyValue(const TypeRegistry& registry, const ValueType& type, const void* from);
  const TypeRegistry* registry_;
  const ValueType* type_;
  std::shared_ptr<void> data_;
};

struct EntityType;  // EntityType.h

class MPLS_EXPORT TypeRegistry {
 public:
  TypeRegistry();

  /// Registers value types and enumerations. A name that is there already is kept.
  template <class... Ts>
  void add() {
    (addOne<Ts>(), ...);
  }
  /// Registers entity types (EntityType.h). A name that is there already is kept.
  template <class... Ts>
  void addEntity() {
    (addEntityType(Ts::formaEntityType()), ...);
  }

  /// The type of that full name; null when there is none.
  const ValueType* findValue(std::string_view name) const;
  const EntityType* findEntity(std::string_view name) const;
  /// The same, but raises NameException.
  const ValueType& value(std::string_view name) const;
  const EntityType& entity(std::string_view name) const;

  /// A default-constructed value of that type; raises NameException.
  AnyValue newValue(std::string_view name) const { return {*this, value(name)}; }

  const std::map<std::string_view, ValueType>& values() const { return values_; }
  const std::map<std::string_view, const EntityType*>& entities() const { return entities_; }

 private:
  template <class T>
  void addOne() {
    ValueType type = operationsOf<T>();
    if constexpr (Enum<T>) {
      type.kind = TypeKind::enumeration;
      for (const auto& one : formaEnumerators(T{}))
        type.members.push_back({one.name, static_cast<std::int64_t>(one.value)});
    } else if constexpr (VisitsMembers<T>) {
      type.kind = TypeKind::record;
      T::formaEachMember([&]<class M>(const MemberName& member, M T::*at) {
        type.fields.push_back(fieldOf<T, M>(member.name, at, type.fields.size()));
      });
    } else if constexpr (!requires { T::formaTypeName; }) {
      type.kind = TypeKind::scalar;
    }
    addValueType(std::move(type));
  }
  template <class T>
  static const T& at(const void* v) {
    return *static_cast<const T*>(v);
  }
  template <class T>
  static ValueType operationsOf() {
    ValueType type{};
    type.name = typeName<T>();
    type.kind = TypeKind::opaque;
    type.make = []() -> std::shared_ptr<void> { return std::make_shared<T>(); };
    type.copy = [](const void* v) -> std::shared_ptr<void> {
      return std::make_shared<T>(at<T>(v));
    };
    type.equal = [](const void* a, const void* b) { return at<T>(a) == at<T>(b); };
    type.hash = [](const void* v) { return hashOf(at<T>(v)); };
    type.print = [](std::string& out, const void* v) { Forma::print(out, at<T>(v)); };
    type.parse = [](TextIn& in, void* v) { Forma::parse(in, *static_cast<T*>(v)); };
    type.encode = [](std::string& out, const void* v) { Forma::encode(out, at<T>(v)); };
    type.decode = [](BytesIn& in, void* v) { Forma::decode(in, *static_cast<T*>(v)); };
    return type;
  }
  template <class T, class M>
  static ValueType::Field fieldOf(std::string_view name, M T::*member, std::size_t index) {
    return {name, typeName<M>(), static_cast<std::uint32_t>(index),
            [member](const void* self) -> const void* { return &(at<T>(self).*member); },
            [member](void* self, const void* value) {
              setField(*static_cast<T*>(self), member, at<M>(value));
            }};
  }
  void addValueType(ValueType type);
  void addEntityType(const EntityType& type);

  std::map<std::string_view, ValueType> values_;
  std::map<std::string_view, const EntityType*> entities_;
};

}  // namespace Forma
