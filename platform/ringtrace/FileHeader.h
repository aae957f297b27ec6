/// The layout of a ring file: this header, then the slots.
///
/// Words are in the byte order of the machine; on another one the version does not match.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "platform/ringtrace/Slot.h"

namespace RingTrace {

inline constexpr std::array<char, 8> fileMagic{'R', 'i', 'n', 'g', 'T', 'r', 'c', '\n'};
inline constexpr std::uint32_t fileLayoutVersion = 1;
inline constexpr std::size_t leastSlots = 8;
inline constexpr std::size_t mostSlots = 65536;

struct FileHeader {
  std::array<char, 8> magic = fileMagic;
  std::uint32_t layoutVersion = fileLayoutVersion;
  /// Bytes.
  std::uint32_t slotSize = RingTrace::slotSize;
  std::uint64_t slotCount = 0;
  std::uint64_t processId = 0;
  /// CLOCK_REALTIME and CLOCK_MONOTONIC of the same moment, in nanoseconds.
  std::uint64_t startWallNs = 0;
  std::uint64_t startMonotonicNs = 0;
  /// The slots begin at a multiple of their size.
  std::array<std::uint64_t, 26> reserved{};
};
static_assert(sizeof(FileHeader) == slotSize && std::is_trivially_copyable_v<FileHeader>);

}  // namespace RingTrace
