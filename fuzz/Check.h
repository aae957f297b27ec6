/// What the fuzz targets share.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/forma/Errors.h"

/// Ends the fuzzer, which then keeps the input, unless that holds.
inline void require(bool holds) {
  if (!holds) std::abort();
}

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// False when `Refusal` was raised; anything else ends the fuzzer.
template <class Refusal, class Read>
bool accepted(Read read) {
  try {
    read();
    return true;
  } catch (const Refusal&) {
    return false;
  }
}
