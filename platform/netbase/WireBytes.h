/// Fixed runs of bytes, and short names, on the wire. Private to this folder.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/forma/Wire.h"

namespace Netbase {

template <std::size_t size>
void encodeBytes(std::string& out, const std::array<std::uint8_t, size>& bytes) {
  out.append(reinterpret_cast<const char*>(bytes.data()), size);
}

template <std::size_t size>
std::array<std::uint8_t, size> decodeBytes(Forma::BytesIn& in) {
  std::array<std::uint8_t, size> bytes;
  std::memcpy(bytes.data(), in.takeBytes(size).data(), size);
  return bytes;
}

/// A name in the wire form of strings.
inline void encodeName(std::string& out, std::string_view name) {
  Forma::encode(out, static_cast<std::uint32_t>(name.size()));
  out.append(name);
}

inline std::string_view decodeName(Forma::BytesIn& in) {
  const auto size = static_cast<std::size_t>(in.take(4));
  return in.takeBytes(size);
}

}  // namespace Netbase
