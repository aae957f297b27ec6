#include "platform/kiln/UnixSocket.h"

#include <sys/socket.h>

#include <cerrno>

namespace Kiln {

namespace {

constexpr std::size_t pathLimit = sizeof sockaddr_un{}.sun_path - 1;

}  // namespace

sockaddr_un unixAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.find('\0') != std::string::npos)
    raiseErrno(EINVAL, "socket path \"" + path + "\"");
  if (path.size() > pathLimit)
    raiseErrno(ENAMETOOLONG, "socket path " + path + " has " + std::to_string(path.size()) +
                                 " bytes, of which " + std::to_string(pathLimit) + " are allowed");
  path.copy(address.sun_path, pathLimit);
  return address;
}

std::string unixPath(int directory, const std::string& path, const std::string& name) {
  std::string plain = path + "/" + name;
  if (plain.size() <= pathLimit) return plain;
  return "/proc/self/fd/" + std::to_string(directory) + "/" + name;
}

Fd unixSocket() { return Fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)); }

int connectUnix(const Fd& socket, const sockaddr_un& address) {
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  while (::connect(socket.get(), generic, sizeof address) != 0)
    if (errno != EINTR) return errno;
  return 0;
}

}  // namespace Kiln
