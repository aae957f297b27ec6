/// The wire form of every value: encode(out, v) appends it, decode(in, v) reads it back.
///
/// Fields in declaration order, integers little-endian in their own width, bools one byte (0 or 1),
/// doubles as their bits, strings as a 32-bit length and the bytes, enumerations as their number.
/// Constraints hold on the wire as everywhere; only a value equal to the type's default, which no
/// constructor but the default one may make, passes unchecked.
///
/// Thread    any.
#pragma once

#include <array>
#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/Export.h"
#include "platform/forma/Enum.h"
#include "platform/forma/String8.h"

namespace Forma {

/// What a decoder reads from. Every byte is untrusted: reading past the end raises ParseException.
class MPLS_EXPORT BytesIn {
 public:
  explicit BytesIn(std::string_view bytes) : rest_(bytes) {}

  std::string_view rest() const { return rest_; }
  bool atEnd() const { return rest_.empty(); }
  std::string_view takeBytes(std::size_t count) {
    if (rest_.size() < count) fail("more bytes");
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return taken;
  }
  /// A little-endian number of `bytes` bytes.
  std::uint64_t take(std::size_t bytes) {
    std::uint64_t v = 0;
    const std::string_view from = takeBytes(bytes);
    if constexpr (std::endian::native == std::endian::little) {
      std::memcpy(&v, from.data(), bytes);
    } else {
      for (std::size_t i = bytes; i-- > 0;) v = v << 8 | static_cast<unsigned char>(from[i]);
    }
    return v;
  }
  [[noreturn]] void fail(std::string_view expected) const;

 private:
  std::string_view rest_;
};

MPLS_EXPORT void formaEncode(std::string& out, const String8& v);
MPLS_EXPORT void formaDecode(BytesIn& in, String8& v);
inline void formaDecode(BytesIn& in, Name& v) {
  String8 text;
  formaDecode(in, text);
  v = Name(std::move(text));
}

template <class T>
void encode(std::string& out, const T& v) {
  if constexpr (std::same_as<T, bool>) {
    out.push_back(v ? '\1' : '\0');
  } else if constexpr (std::integral<T>) {
    std::uint64_t bits = static_cast<std::make_unsigned_t<T>>(v);
    std::array<char, sizeof v> bytes;
    if constexpr (std::endian::native == std::endian::little) {
      std::memcpy(bytes.data(), &bits, sizeof v);
    } else {
      for (char& byte : bytes) {
        byte = static_cast<char>(bits & 0xff);
        bits >>= 8;
      }
    }
    out.append(bytes.data(), bytes.size());
  } else if constexpr (std::same_as<T, double>) {
    encode(out, std::bit_cast<std::uint64_t>(v));
  } else if constexpr (Enum<T>) {
    encode(out, static_cast<std::underlying_type_t<T>>(v));
  } else {
    formaEncode(out, v);
  }
}

template <class T>
void decode(BytesIn& in, T& v) {
  if constexpr (std::same_as<T, bool>) {
    const std::uint64_t byte = in.take(1);
    if (byte > 1) in.fail("a bool of 0 or 1");
    v = byte == 1;
  } else if constexpr (std::integral<T>) {
    v = static_cast<T>(in.take(sizeof v));
  } else if constexpr (std::same_as<T, double>) {
    v = std::bit_cast<double>(in.take(sizeof v));
  } else if constexpr (Enum<T>) {
    std::underlying_type_t<T> number{};
    decode(in, number);
    const auto found = enumByNumber<T>(static_cast<std::uint64_t>(number));
    if (!found) in.fail("the number of an enumerator");
    v = *found;
  } else {
    formaDecode(in, v);
  }
}

}  // namespace Forma
