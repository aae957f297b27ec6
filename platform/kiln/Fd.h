/// Descriptors that are owned, and errors of the kernel.
///
/// Thread    any.
#pragma once

#include <string>
#include <utility>

#include "platform/Export.h"

namespace Kiln {

/// A descriptor that is closed when it goes.
class MPLS_EXPORT Fd {
 public:
  /// Takes `fd` over; none when that is negative.
  explicit Fd(int fd = -1) : fd_(fd) {}
  Fd(Fd&& o) noexcept : fd_(std::exchange(o.fd_, -1)) {}
  Fd& operator=(Fd o) noexcept {
    std::swap(fd_, o.fd_);
    return *this;
  }
  ~Fd();
  /// Negative when there is none.
  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }

 private:
  int fd_;
};

/// Raises std::system_error for `error`, an errno: "`what`: text of it".
[[noreturn]] MPLS_EXPORT void raiseErrno(int error, const std::string& what);

}  // namespace Kiln
