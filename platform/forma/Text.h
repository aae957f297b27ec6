/// The text form of every value: print(out, v) appends it, parse(in, v) reads it back.
///
/// Integers print in decimal, bools as true and false, doubles in the shortest form that reads back
/// equal, enumerations as their member's name. Strings stand in single quotes, with a backslash
/// before backslashes and quotes, and before x and two digits for a control character. Declared
/// value types print as records (Value.h), or in a compact form of their own.
///
/// Thread    any.
/// Cost      appended to a character buffer; no stream, no allocation but the buffer's.
#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/Export.h"
#include "platform/forma/Enum.h"
#include "platform/forma/String8.h"

namespace Forma {

/// What a parser reads from: a range of characters and how far it has come.
class MPLS_EXPORT TextIn {
 public:
  explicit TextIn(std::string_view text) : TextIn(text.data(), text.data() + text.size()) {}
  TextIn(const char* begin, const char* end) : begin_(begin), at_(begin), end_(end) {}

  std::string_view rest() const { return {at_, static_cast<std::size_t>(end_ - at_)}; }
  const char* position() const { return at_; }
  bool atEnd() const { return at_ == end_; }
  void skip(std::size_t count) { at_ += count; }

  bool tryTake(std::string_view literal) {
    if (!rest().starts_with(literal)) return false;
    at_ += literal.size();
    return true;
  }
  /// Raises ParseException when the text does not go on with `literal`.
  void take(std::string_view literal) {
    if (!tryTake(literal)) fail("\"", literal, "\"");
  }
  /// The text of a field whose type takes the whole text: up to the separator of the record that
  /// it stands in (", " or "})"), or to the end. Does not move on.
  std::string_view fieldText() const;

  /// Raises ParseException "expected ... at position N of "..."".
  [[noreturn]] void fail(std::string_view expected) const { fail("", expected, ""); }

 private:
  [[noreturn]] void fail(std::string_view before, std::string_view expected,
                         std::string_view after) const;
  const char* begin_;
  const char* at_;
  const char* end_;
};

MPLS_EXPORT void formaPrint(std::string& out, const String8& v);
MPLS_EXPORT void formaParse(TextIn& in, String8& v);
inline void formaParse(TextIn& in, Name& v) {
  String8 text;
  formaParse(in, text);
  v = Name(std::move(text));
}
MPLS_EXPORT void printDouble(std::string& out, double v);
MPLS_EXPORT double parseDouble(TextIn& in);

/// Appends the text form of `v`.
template <class T>
void print(std::string& out, const T& v) {
  if constexpr (std::same_as<T, bool>) {
    out.append(v ? "true" : "false");
  } else if constexpr (std::integral<T>) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, v).ptr;
    out.append(digits, end);
  } else if constexpr (std::floating_point<T>) {
    printDouble(out, v);
  } else if constexpr (Enum<T>) {
    out.append(formaEnumName(v));
  } else {
    formaPrint(out, v);
  }
}

/// Reads one value; leaves `v` as it was when it raises ParseException or RangeException.
template <class T>
void parse(TextIn& in, T& v) {
  if constexpr (std::same_as<T, bool>) {
    const bool yes = in.tryTake("true");
    if (!yes && !in.tryTake("false")) in.fail("true or false");
    v = yes;
  } else if constexpr (std::integral<T>) {
    const std::string_view text = in.rest();
    T number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc::result_out_of_range) in.fail("a smaller number");
    if (error != std::errc{}) in.fail("a number");
    in.skip(static_cast<std::size_t>(end - text.data()));
    v = number;
  } else if constexpr (std::floating_point<T>) {
    v = parseDouble(in);
  } else if constexpr (Enum<T>) {
    const std::string_view text = in.rest();
    std::size_t size = 0;
    while (size < text.size() && isNameCharacter(text[size])) ++size;
    const auto found = enumByName<T>(text.substr(0, size));
    if (!found) in.fail("a member of " + std::string(formaEnumTypeName(T{})));
    in.skip(size);
    v = *found;
  } else {
    formaParse(in, v);
  }
}

/// The text form of a value.
template <class T>
String8 valueToStrep(const T& v) {
  std::string out;
  print(out, v);
  return String8(out);
}

/// The text form of a value, as the library's other strings (`stringValue(ipv4())` is "ipv4").
template <Enum E>
String8 stringValue(E v) {
  return String8(formaEnumName(v));
}

/// Parses one value from a range of characters and moves `begin` past what it read.
template <class T>
void sequenceToValue(String8::IteratorConst& begin, String8::IteratorConst end, T* v) {
  TextIn in(begin, end);
  parse(in, *v);
  begin = in.position();
}

/// A type whose errors have one fixed text, such as "Invalid FwdEqvClass".
template <class T>
concept HasInvalidText = requires {
  T::formaInvalidText;
};

[[noreturn]] MPLS_EXPORT void throwInvalidText(std::string_view message);

/// Parses the whole text; anything behind the value is an error, and then nothing is assigned.
template <class T>
void strepToValue(const String8& text, T* v) {
  TextIn in(text.begin(), text.end());
  T next = *v;
  parse(in, next);
  if (!in.atEnd()) {
    if constexpr (HasInvalidText<T>) throwInvalidText(T::formaInvalidText);
    in.fail("the end of the text");
  }
  *v = std::move(next);
}

/// operator<< of every declared type: the text form, through one function.
MPLS_EXPORT std::ostream& writeText(std::ostream& out, std::string_view text);

MPLS_EXPORT std::ostream& operator<<(std::ostream& out, const String8& v);

}  // namespace Forma
