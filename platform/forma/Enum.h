/// Enumerations: members named once, numbers checked, texts derived.
///
///   enum TtlMode : std::uint8_t { undefinedTtlMode_, pipe_, uniform_ };
///   FORMA_ENUM(Mpls, TtlMode, undefinedTtlMode, pipe, uniform)
///
/// gives, in the enumeration's namespace: a constexpr function for each member (`pipe()`), the
/// instance functions `TtlModeInstance(number)` (RangeException when no member has it) and
/// `TtlModeInstance(name)` (ParseException), and operator<<. A member left out of the list is
/// reported by -Wswitch.
#pragma once

#include <array>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string_view>
#include <type_traits>

#include "platform/Export.h"
#include "platform/forma/Lists.h"
#include "platform/forma/String8.h"

namespace Forma {

template <class E>
struct Enumerator {
  std::string_view name;
  E value;
};

template <class T>
concept Enum = std::is_enum_v<T> && requires(T e) {
  formaEnumerators(e);
};

constexpr bool isNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

template <Enum E>
constexpr std::optional<E> enumByName(std::string_view name) {
  for (const auto& one : formaEnumerators(E{}))
    if (one.name == name) return one.value;
  return std::nullopt;
}
template <Enum E>
constexpr std::optional<E> enumByNumber(std::uint64_t number) {
  for (const auto& one : formaEnumerators(E{}))
    if (static_cast<std::uint64_t>(one.value) == number) return one.value;
  return std::nullopt;
}

[[noreturn]] MPLS_EXPORT void throwNoEnumerator(std::string_view type, std::uint64_t number);
[[noreturn]] MPLS_EXPORT void throwNoEnumerator(std::string_view type, std::string_view name);

template <Enum E>
constexpr E enumInstance(std::uint64_t number) {
  if (const auto found = enumByNumber<E>(number)) return *found;
  throwNoEnumerator(formaEnumTypeName(E{}), number);
}
template <Enum E>
constexpr E enumInstance(std::string_view name) {
  if (const auto found = enumByName<E>(name)) return *found;
  throwNoEnumerator(formaEnumTypeName(E{}), name);
}

/// operator<< of enumerations, through one function of the library.
MPLS_EXPORT std::ostream& writeEnumerator(std::ostream& out, std::string_view name);

}  // namespace Forma

#define FORMA_ENUM_CASE(Type, name) \
  case Type::name##_:               \
    return #name;
#define FORMA_ENUM_ENTRY(Type, name) ::Forma::Enumerator<Type>{#name, Type::name##_},
#define FORMA_ENUM_FUNCTION(Type, name) \
  [[maybe_unused]] constexpr Type name() { return Type::name##_; }

/// FORMA_ENUM(namespace, type, members...): in that namespace, behind the enumeration.
#define FORMA_ENUM(Space, Type, ...)                                               \
  constexpr std::string_view formaEnumTypeName(Type) { return #Space "::" #Type; } \
  constexpr std::string_view formaEnumName(Type v) {                               \
    switch (v) { FORMA_EACH(FORMA_ENUM_CASE, Type, __VA_ARGS__) }                  \
    return "?";                                                                    \
  }                                                                                \
  constexpr auto formaEnumerators(Type) {                                          \
    return std::to_array<::Forma::Enumerator<Type>>(                               \
        {FORMA_EACH(FORMA_ENUM_ENTRY, Type, __VA_ARGS__)});                        \
  }                                                                                \
  FORMA_EACH(FORMA_ENUM_FUNCTION, Type, __VA_ARGS__)                               \
  [[maybe_unused]] constexpr Type Type##Instance(unsigned number) {                \
    return ::Forma::enumInstance<Type>(std::uint64_t{number});                     \
  }                                                                                \
  [[maybe_unused]] inline Type Type##Instance(const ::Forma::String8& name) {      \
    return ::Forma::enumInstance<Type>(name.view());                               \
  }                                                                                \
  inline std::ostream& operator<<(std::ostream& out, Type v) {                     \
    return ::Forma::writeEnumerator(out, formaEnumName(v));                        \
  }
