/// A message of the ring trace as a reader gets it.
#pragma once

#include <cstdint>
#include <string>

namespace RingTrace {

struct Message {
  /// Counts the messages of the process from 0. A gap is a message that was overwritten in the
  /// meantime, was being written, or is damaged.
  std::uint64_t sequence = 0;
  /// CLOCK_MONOTONIC when it was recorded, in nanoseconds.
  std::uint64_t timeNs = 0;
  /// The kernel's number of the recording thread (gettid).
  std::uint32_t thread = 0;
  /// The pieces, joined; ends in " [cut]" when they did not fit into a slot.
  std::string text;

  bool operator==(const Message&) const = default;
};

}  // namespace RingTrace
