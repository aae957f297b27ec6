/// What waits to be written to one connection: small messages gathered, so that they leave in one
/// write, and at most one large piece, whose bytes are shared with other connections.
///
/// Thread    that of the event loop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/centrum/Protocol.h"
#include "platform/centrum/Stream.h"

namespace Centrum {

class OutBuffer {
 public:
  /// Pieces up to this size are copied to go out with their neighbours.
  static constexpr std::size_t copyLimit = 16U << 10;

  /// Appends a message, behind everything that waits.
  void add(const Message::Any& message);
  /// Appends frames that others may share. To be called only when there is no large piece.
  void add(std::shared_ptr<const std::string> frames);
  bool hasPiece() const { return piece_ != nullptr; }

  /// Bytes that wait.
  std::size_t size() const;
  bool empty() const { return size() == 0; }
  /// Bytes written since the connection began.
  std::uint64_t written() const { return written_; }

  /// Writes as much as the stream takes; true when nothing waits any more.
  bool writeTo(Stream& stream);

 private:
  std::string& tail() { return piece_ ? behind_ : small_; }
  bool write(Stream& stream, std::string_view bytes, std::size_t& at);

  std::string small_;        // goes first
  std::size_t smallAt_ = 0;  // written of it
  std::shared_ptr<const std::string> piece_;
  std::size_t pieceAt_ = 0;
  std::string behind_;  // goes last
  std::uint64_t written_ = 0;
};

}  // namespace Centrum
