/// The layout of a slot: one message of the ring in 256 bytes, the same in memory and in a file.
///
///   word  0     state: 0 never used, 2n+1 while message n is being written, 2n+2 when it is whole
///         1     checksum of all other words in use
///         2     CLOCK_MONOTONIC in nanoseconds
///         3     bytes of payload (bits 0..15), cut (bit 16), thread (bits 32..63)
///         4..31 payload: the pieces in order, each a tag byte and
///               text      one byte of length and the bytes
///               number    8 bytes
///               true, false   nothing
///
/// Words are in the byte order of the machine. The checksum tells a whole message from one that is
/// damaged in a file, or was copied out of a file while its process was writing it.
///
/// Thread    any; nothing here is shared.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "platform/ringtrace/FixedText.h"
#include "platform/ringtrace/Message.h"

namespace RingTrace {

inline constexpr std::size_t slotSize = 256;
using SlotWords = std::array<std::uint64_t, slotSize / sizeof(std::uint64_t)>;

inline constexpr std::size_t stateAt = 0;
inline constexpr std::size_t checksumAt = 1;
inline constexpr std::size_t timeAt = 2;
inline constexpr std::size_t metaAt = 3;
inline constexpr std::size_t payloadAt = 4;
/// Bytes.
inline constexpr std::size_t payloadSize = slotSize - payloadAt * sizeof(std::uint64_t);

enum PieceTag : unsigned char { text_ = 1, unsigned_, signed_, true_, false_ };

constexpr std::uint64_t stateWriting(std::uint64_t sequence) { return 2 * sequence + 1; }
constexpr std::uint64_t stateWhole(std::uint64_t sequence) { return 2 * sequence + 2; }
constexpr bool isWhole(std::uint64_t state) { return state != 0 && state % 2 == 0; }
/// Of a slot that is whole.
constexpr std::uint64_t sequenceOf(const SlotWords& slot) { return slot[stateAt] / 2 - 1; }

constexpr std::uint64_t metaOf(std::size_t length, bool cut, std::uint32_t thread) {
  return length | std::uint64_t{cut} << 16 | std::uint64_t{thread} << 32;
}
constexpr std::size_t lengthOf(const SlotWords& slot) { return slot[metaAt] & 0xffff; }
constexpr bool isCut(const SlotWords& slot) { return (slot[metaAt] >> 16 & 1) != 0; }
constexpr std::uint32_t threadOf(const SlotWords& slot) {
  return static_cast<std::uint32_t>(slot[metaAt] >> 32);
}
/// Words in use; requires lengthOf(slot) <= payloadSize.
constexpr std::size_t wordsOf(const SlotWords& slot) {
  return payloadAt + (lengthOf(slot) + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t);
}

/// Each word counts by an odd factor of its own, so that a change of one never goes unnoticed; and
/// none waits for another's product. Requires lengthOf(slot) <= payloadSize.
constexpr std::uint64_t checksumOf(const SlotWords& slot) {
  constexpr std::uint64_t factor = 0x9e3779b97f4a7c15U;
  std::uint64_t sum = slot[stateAt] * factor;
  const std::size_t end = wordsOf(slot);
  for (std::size_t i = timeAt; i < end; ++i) sum += slot[i] * (factor * (2 * i + 1));
  return sum;
}

/// True when the slot holds a whole message, unchanged since it was written.
constexpr bool isIntact(const SlotWords& slot) {
  return isWhole(slot[stateAt]) && lengthOf(slot) <= payloadSize &&
         slot[checksumAt] == checksumOf(slot);
}

/// Holds the text of any slot: no piece prints more than five characters for each of its bytes.
using SlotText = FixedText<payloadSize * 5 + sizeof " [cut]">;

/// Appends the text of an intact slot; false when the payload is not made of pieces. Neither
/// allocates nor throws.
bool appendText(const SlotWords& slot, SlotText& to) noexcept;

/// The message in a slot; none when it is not intact.
std::optional<Message> messageOf(const SlotWords& slot);

}  // namespace RingTrace
