/// Reading and writing the text of addresses, on plain characters and bytes. Private to this
/// folder; users call print, parse and fromText of the address types.
///
/// Readers get the characters that are left and return the first one they did not take, or null
/// when the text is not an address; then the bytes are undefined. Writers return the end of what
/// they wrote. Nothing here allocates or throws but refuse().
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/forma/Text.h"

namespace Netbase {
class IpGenAddr;
}

namespace Netbase::AddressText {

/// The most characters of a printed address: "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff".
inline constexpr std::size_t longest = 39;

/// Which characters belong to which kind of text; one text ends where none of its kind follows.
enum Kind : std::uint8_t { addressText = 1, prefixText = 2, etherText = 4 };
inline constexpr auto kindsOf = [] {
  std::array<std::uint8_t, 256> kinds{};
  for (const char c : std::string_view("0123456789abcdefABCDEF"))
    kinds[static_cast<unsigned char>(c)] = addressText | prefixText | etherText;
  kinds[':'] = addressText | prefixText | etherText;
  kinds['.'] = addressText | prefixText;
  kinds['/'] = prefixText;
  return kinds;
}();
inline bool goesOn(Kind kind, const char* at, const char* end) {
  return at != end && (kindsOf[static_cast<unsigned char>(*at)] & kind) != 0;
}

/// The value of a hexadecimal digit, or 16 or more.
inline constexpr auto hexValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(16);
  for (std::uint8_t i = 0; i < 10; ++i) values[std::size_t{'0'} + i] = i;
  for (std::uint8_t i = 0; i < 6; ++i)
    values[std::size_t{'a'} + i] = values[std::size_t{'A'} + i] = static_cast<std::uint8_t>(10 + i);
  return values;
}();
inline unsigned hexValue(char c) { return hexValues[static_cast<unsigned char>(c)]; }

const char* readV4(const char* at, const char* end, std::uint8_t* bytes);
const char* readV6(const char* at, const char* end, std::uint8_t* bytes);
/// An address of either family; told apart by the first dot or colon.
const char* readEither(const char* at, const char* end, IpGenAddr& v);
char* writeV4(char* out, const std::uint8_t* bytes);
char* writeV6(char* out, const std::uint8_t* bytes);

/// Raises RangeException `Invalid <what> "<text>"`; of a long text the beginning is shown.
[[noreturn]] void refuse(std::string_view what, std::string_view text);
/// The same with the characters of `kind` that come next; with the field's text if there are none.
[[noreturn]] void refuse(std::string_view what, Kind kind, const Forma::TextIn& in);

/// Reads a value by `read(at, end, value)` from the characters of `kind` that come next: all of
/// them or none.
template <class T, class Read>
void take(std::string_view what, Kind kind, Forma::TextIn& in, T& v, Read read) {
  const std::string_view text = in.rest();
  const char* const end = text.data() + text.size();
  T next;
  const char* const at = read(text.data(), end, next);
  if (at == nullptr || goesOn(kind, at, end)) refuse(what, kind, in);
  in.skip(static_cast<std::size_t>(at - text.data()));
  v = next;
}

/// Reads a value from the whole text, or none.
template <class T, class Read>
std::optional<T> whole(std::string_view text, Read read) {
  const char* const end = text.data() + text.size();
  T v;
  if (read(text.data(), end, v) != end) return std::nullopt;
  return v;
}

}  // namespace Netbase::AddressText
