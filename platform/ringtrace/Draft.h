/// A message while it is put together, on the stack of the recording thread. Used by record().
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/Export.h"
#include "platform/ringtrace/Slot.h"

namespace RingTrace {

/// Pieces are added in order; from the first that does not fit, all are left out and the message is
/// marked as cut. Nothing here waits, allocates or throws: a signal handler may use it.
class MPLS_EXPORT Draft {
 public:
  // The words stay uninitialised: only those in use are ever read.
  Draft() noexcept {}  // NOLINT(modernize-use-equals-default)

  /// Copies the bytes, as many as fit.
  void addText(std::string_view text) noexcept;
  /// Null is recorded as "(null)".
  void addCString(const char* text) noexcept;
  void addUnsigned(std::uint64_t number) noexcept;
  void addSigned(std::int64_t number) noexcept;
  void addBool(bool value) noexcept;

  /// Stamps the message with time, thread and sequence and puts it into the ring of the process.
  /// At most once.
  void commit() noexcept;

 private:
  char* end() { return reinterpret_cast<char*>(&words_[payloadAt]) + length_; }
  /// True when `size` more bytes fit; otherwise the message is cut here.
  bool fits(std::size_t size);
  void addNumber(PieceTag tag, std::uint64_t number);
  void stamp();

  SlotWords words_;
  std::size_t length_ = 0;
  bool cut_ = false;
};

}  // namespace RingTrace
