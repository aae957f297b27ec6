/// What the two ends of Unix stream sockets share.
///
/// Thread    any.
#pragma once

#include <sys/types.h>
#include <sys/un.h>

#include <memory>
#include <string>
#include <utility>

#include "platform/centrum/Stream.h"
#include "platform/kiln/EventLoop.h"

namespace Centrum {

/// A descriptor that is closed when it goes.
class Fd {
 public:
  explicit Fd(int fd = -1) : fd_(fd) {}
  Fd(Fd&& o) noexcept : fd_(std::exchange(o.fd_, -1)) {}
  Fd& operator=(Fd o) noexcept {
    std::swap(fd_, o.fd_);
    return *this;
  }
  ~Fd();
  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }

 private:
  int fd_;
};

/// Raises std::system_error for `error`, an errno: "`what`: text of it".
[[noreturn]] void raiseErrno(int error, const std::string& what);

/// The socket address of a path. Raises std::system_error, which names the path, when it does not
/// fit one (ENAMETOOLONG), is empty or holds a zero byte (EINVAL).
sockaddr_un unixAddress(const std::string& path);
/// A new stream socket that never waits; none, and errno says why, when the kernel gives none.
Fd unixSocket();
/// 0, or the errno of a connection that is refused.
int connectUnix(const Fd& socket, const sockaddr_un& address);
/// The stream of a connected socket.
std::unique_ptr<Stream> unixStream(Kiln::EventLoop& loop, Fd socket);

}  // namespace Centrum
