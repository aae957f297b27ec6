/// Value types, declared once.
///
///   class RouteKey {
///     FORMA_VALUE(Mpls::RouteKey, topLabel, metric)
///     /// Incoming top label.
///     FORMA_FIELD(Netbase::MplsLabel, topLabel)
///     FORMA_FIELD(RouteMetric, metric)
///    public:
///     RouteKey() = default;
///     RouteKey(Netbase::MplsLabel topLabel, RouteMetric metric);
///     auto operator<=>(const RouteKey&) const = default;
///   };
///   FORMA_DEFINE_VALUE(Mpls::RouteKey)   // once, in a source file
///
/// From it come getters and setters, equality, hash, the record text and its parser, the wire form
/// and registration. A type with a constraint has `void check() const`, which raises
/// RangeException; setters, parser and decoder call it and leave the value unchanged when it does.
/// Text and wire code is compiled once, in the source file.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Export.h"
#include "platform/forma/Errors.h"
#include "platform/forma/Hash.h"
#include "platform/forma/Lists.h"
#include "platform/forma/Relocatable.h"
#include "platform/forma/Text.h"
#include "platform/forma/Wire.h"

namespace Forma {

template <class T>
concept Value = requires {
  T::formaTypeName;
}
&&std::equality_comparable<T>;

/// How a member is called: alone, and as the label that stands before its text in a record.
struct MemberName {
  std::string_view name;
  std::string_view label;  ///< ", 'name': "
};

/// Assigns one field; keeps the object unchanged when its constraints refuse the new value.
template <class T, class M>
void setField(T& self, M T::*at, M next) {
  std::swap(self.*at, next);
  if constexpr (requires { self.check(); }) {
    try {
      self.check();
    } catch (...) {
      std::swap(self.*at, next);
      throw;
    }
  }
}

template <class T>
void printRecord(std::string& out, const T& v) {
  out.append(T::formaOpening);
  std::size_t separator = 2;  // the first label goes without ", "
  T::formaEachMember([&](const MemberName& member, auto at) {
    out.append(member.label.substr(std::exchange(separator, 0)));
    print(out, v.*at);
  });
  out.append("})");
}

template <class T>
void parseRecord(TextIn& in, T& v) {
  T next;
  in.take(T::formaOpening);
  std::size_t separator = 2;
  T::formaEachMember([&](const MemberName& member, auto at) {
    in.take(member.label.substr(std::exchange(separator, 0)));
    parse(in, next.*at);
  });
  in.take("})");
  if constexpr (requires { next.check(); }) next.check();
  v = std::move(next);  // nothing is assigned when the text or a constraint is at fault
}

template <class T>
void encodeRecord(std::string& out, const T& v) {
  T::formaEachMember([&](const MemberName&, auto at) { encode(out, v.*at); });
}

template <class T>
void decodeRecord(BytesIn& in, T& v) {
  T next;
  T::formaEachMember([&](const MemberName&, auto at) { decode(in, next.*at); });
  if constexpr (requires { next.check(); })
    if (!(next == T())) next.check();  // a value that was never set travels as it is
  v = std::move(next);
}

}  // namespace Forma

#define FORMA_MEMBER_NAME(Type, name) #name,
#define FORMA_VISIT_MEMBER(Type, name) \
  visit(::Forma::MemberName{#name, ", '" #name "': "}, &Type::name##_);

/// The functions by which text and wire form of a type are found; defined in one source file.
#define FORMA_VALUE_FUNCTIONS(Type)                                   \
  friend MPLS_EXPORT void formaPrint(std::string&, const Type&);      \
  friend MPLS_EXPORT void formaParse(::Forma::TextIn&, Type&);        \
  friend MPLS_EXPORT void formaEncode(std::string&, const Type&);     \
  friend MPLS_EXPORT void formaDecode(::Forma::BytesIn&, Type&);      \
  friend std::ostream& operator<<(std::ostream& out, const Type& v) { \
    return ::Forma::writeText(out, ::Forma::valueToStrep(v).view());  \
  }                                                                   \
                                                                      \
 public:                                                              \
  static constexpr std::string_view formaTypeName = #Type;            \
                                                                      \
 private:

/// The full name and the members of a type, in declaration (and wire) order.
#define FORMA_DESCRIBE(Type, ...)                             \
 public:                                                      \
  using FormaSelf = Type;                                     \
  static constexpr std::string_view formaMemberNames[] = {    \
      FORMA_EACH(FORMA_MEMBER_NAME, Type, __VA_ARGS__)};      \
  template <class FormaVisit>                                 \
  static constexpr void formaEachMember(FormaVisit&& visit) { \
    FORMA_EACH(FORMA_VISIT_MEMBER, Type, __VA_ARGS__)         \
  }                                                           \
                                                              \
 private:

/// A value type whose public hash is a function of its own: the class defines `hash()`.
#define FORMA_VALUE_OWN_HASH(Type, ...)                                       \
  FORMA_DESCRIBE(Type, __VA_ARGS__)                                           \
  FORMA_VALUE_FUNCTIONS(Type)                                                 \
 public:                                                                      \
  static constexpr std::string_view formaOpening = "Value('" #Type "', ** {"; \
  bool operator==(const Type&) const = default;                               \
                                                                              \
 private:

/// A value type: FORMA_VALUE(full name, fields...), first line of the class.
#define FORMA_VALUE(Type, ...)                                  \
  FORMA_VALUE_OWN_HASH(Type, __VA_ARGS__)                       \
 public:                                                        \
  std::uint64_t hash() const { return ::Forma::hashOf(*this); } \
                                                                \
 private:

/// A value type without visible fields (an address, a container): it brings `==`, `hash()`,
/// formaPrint, formaParse, formaEncode and formaDecode.
#define FORMA_OPAQUE_VALUE(Type) \
 public:                         \
  using FormaSelf = Type;        \
  FORMA_VALUE_FUNCTIONS(Type)

/// One field: FORMA_FIELD(type, name, default) gives name(), nameIs(v) and the private name_.
#define FORMA_FIELD(Type, name, ...)                                                          \
 public:                                                                                      \
  const Type& name() const { return name##_; }                                                \
  void name##Is(Type v) {                                                                     \
    static_assert(::Forma::lists(formaMemberNames, #name), "list this field in FORMA_VALUE"); \
    ::Forma::setField(*this, &FormaSelf::name##_, std::move(v));                              \
  }                                                                                           \
                                                                                              \
 private:                                                                                     \
  Type name##_{__VA_ARGS__};

/// A compact text as a string: stringValue() gives it, stringValueIs(text) parses the whole text.
/// `invalid` is the text of the range error that bad text raises.
#define FORMA_STRING_VALUE(invalid)                                                       \
 public:                                                                                  \
  static constexpr std::string_view formaInvalidText = invalid;                           \
  ::Forma::String8 stringValue() const { return ::Forma::valueToStrep(*this); }           \
  void stringValueIs(const ::Forma::String8& text) { ::Forma::strepToValue(text, this); } \
                                                                                          \
 private:

/// Compiles the text and wire form of a type: once, in a source file, in the type's namespace.
#define FORMA_DEFINE_VALUE(Type)                                                     \
  FORMA_DEFINE_WIRE(Type)                                                            \
  void formaPrint(std::string& out, const Type& v) { ::Forma::printRecord(out, v); } \
  void formaParse(::Forma::TextIn& in, Type& v) { ::Forma::parseRecord(in, v); }
/// For a type with a text form of its own: FORMA_DEFINE_WIRE, and formaPrint, formaParse by hand.
#define FORMA_DEFINE_WIRE(Type)                                                        \
  void formaEncode(std::string& out, const Type& v) { ::Forma::encodeRecord(out, v); } \
  void formaDecode(::Forma::BytesIn& in, Type& v) { ::Forma::decodeRecord(in, v); }

/// The names by which text is converted, made callable as `Space::valueToStrep(v)` and so on.
/// Once in each namespace that declares value types, outside of classes.
#define FORMA_TEXT_FUNCTIONS      \
  using ::Forma::sequenceToValue; \
  using ::Forma::strepToValue;    \
  using ::Forma::stringValue;     \
  using ::Forma::valueToStrep;
