#include "platform/centrum/UnixSocket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace Centrum {

Fd::~Fd() {
  if (fd_ >= 0) ::close(fd_);
}

void raiseErrno(int error, const std::string& what) {
  throw std::system_error(error, std::generic_category(), what);
}

sockaddr_un unixAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  constexpr std::size_t limit = sizeof address.sun_path - 1;
  if (path.empty() || path.find('\0') != std::string::npos)
    raiseErrno(EINVAL, "socket path \"" + path + "\"");
  if (path.size() > limit)
    raiseErrno(ENAMETOOLONG, "socket path " + path + " has " + std::to_string(path.size()) +
                                 " bytes, of which " + std::to_string(limit) + " are allowed");
  path.copy(address.sun_path, limit);
  return address;
}

Fd unixSocket() { return Fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)); }

int connectUnix(const Fd& socket, const sockaddr_un& address) {
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  while (::connect(socket.get(), generic, sizeof address) != 0)
    if (errno != EINTR) return errno;
  return 0;
}

}  // namespace Centrum
