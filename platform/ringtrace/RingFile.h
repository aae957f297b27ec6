/// A ring in a mapped file, on the side of the process that records in it.
///
/// The file appears under its path complete: it is filled in and locked under a temporary name and
/// linked to its path then. A lock on it (flock: gone with the process, whatever its end) tells a
/// living holder from a left-over.
///
/// Thread    one at a time; the ring itself any.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <utility>

#include "platform/ringtrace/Ring.h"

namespace RingTrace {

/// A file descriptor that closes itself.
class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  Fd(Fd&& from) noexcept : fd_(std::exchange(from.fd_, -1)) {}
  Fd& operator=(Fd&&) = delete;
  ~Fd() { close(); }

  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }
  void close();

 private:
  int fd_;
};

/// A shared, writable mapping of a file that unmaps itself.
class Mapping {
 public:
  /// Maps the first `size` bytes; `path` is for the text of std::system_error.
  Mapping(const std::string& path, const Fd& fd, std::size_t size);
  Mapping(Mapping&& from) noexcept : at_(std::exchange(from.at_, nullptr)), size_(from.size_) {}
  Mapping& operator=(Mapping&&) = delete;
  ~Mapping();

  char* data() const { return at_; }

 private:
  char* at_;
  std::size_t size_;
};

class RingFile {
 public:
  /// Creates, locks and maps the file. Raises what fileIs() raises.
  static std::unique_ptr<RingFile> create(const std::string& path, std::size_t slots);

  const Ring& ring() const { return ring_; }
  /// Makes the file a left-over; the ring stays mapped.
  void unlock() { fd_.close(); }

  /// The file that this one replaced.
  std::unique_ptr<RingFile> former;

 private:
  RingFile(Fd fd, Mapping mapping, std::size_t slots);

  Fd fd_;
  Mapping mapping_;
  Ring ring_;
};

}  // namespace RingTrace
