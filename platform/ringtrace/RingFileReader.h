/// Reads a ring file, of a process that died or of one that still records in it.
///
/// Every byte is untrusted. A message is returned only when its checksum proves it whole; damaged
/// and half-written ones are left out. A file that was cut short gives the messages that it still
/// holds.
///
/// Thread    any.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"
#include "platform/ringtrace/Message.h"

namespace RingTrace {

/// A file that cannot be read, or is no ring file; the text is "PATH: REASON".
class MPLS_EXPORT FileError : public std::runtime_error {
 public:
  FileError(std::string path, std::string reason);
  ~FileError() override;

  const std::string& path() const { return path_; }
  const std::string& reason() const { return reason_; }

 private:
  std::string path_;
  std::string reason_;
};

/// Who recorded, and since when.
struct FileInfo {
  std::uint64_t processId = 0;
  std::uint64_t slotCount = 0;
  /// Nanoseconds since 1970, and CLOCK_MONOTONIC of the same moment: the difference turns the time
  /// of a message into time of day.
  std::uint64_t startWallNs = 0;
  std::uint64_t startMonotonicNs = 0;
};

/// The messages in a file, oldest first. Raises FileError.
MPLS_EXPORT std::vector<Message> readFile(const std::string& path);
/// Raises FileError.
MPLS_EXPORT FileInfo readFileInfo(const std::string& path);

/// The messages in the bytes of a file, oldest first. Raises FileError, with `name` for a path.
MPLS_EXPORT std::vector<Message> messagesFromBytes(std::string_view bytes,
                                                   const std::string& name = "ring file");

}  // namespace RingTrace
