/// The writing side of a path: puts frames together to batches, and knows which of them are still
/// to be acknowledged.
///
/// Thread    that of the event loop.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/centrum/Protocol.h"

namespace Centrum {

class OwnedPath {
 public:
  /// After this many bytes a batch is acknowledged at once.
  static constexpr std::size_t ackBytes = 64U << 10;

  explicit OwnedPath(std::uint64_t instance) : instance_(instance) {}

  std::uint64_t instance() const { return instance_; }

  /// Takes a frame. Returns the whole batch when this was its last one; the records are valid until
  /// the next call. Raises ParseException when the frame does not continue what came before, when
  /// the batch is larger than `limit`, or when its records are damaged.
  std::optional<Message::Batch> take(const Message::Batch& frame, std::size_t limit);

  /// A batch was applied, or had been applied before.
  void taken(const Message::Batch& batch);
  /// True when there is something to acknowledge, and when it should not be put off.
  bool ackDue() const { return unacked_ != 0; }
  bool ackUrgent() const { return unacked_ >= ackBytes; }
  /// The number to acknowledge.
  std::uint64_t ack();

 private:
  void check(const Message::Batch& frame, std::size_t limit) const;

  const std::uint64_t instance_;
  std::string records_;       // of the batch that is not whole
  bool open_ = false;         // there is one
  bool renew_ = false;        // its
  std::uint64_t newest_ = 0;  // number that began
  std::uint64_t taken_ = 0;   // number
  std::size_t unacked_ = 0;   // bytes
};

}  // namespace Centrum
