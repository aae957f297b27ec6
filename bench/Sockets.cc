#include "bench/Sockets.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

#include "bench/Processes.h"

namespace Bench {
namespace {

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) throw std::runtime_error("too long: " + path);
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

}  // namespace

int connectTo(const std::string& path) {
  constexpr int tries = 1'000;
  constexpr useconds_t pause = 5'000;
  const sockaddr_un address = addressOf(path);
  for (int i = 0; i < tries; ++i) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(fd >= 0, "socket");
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return fd;
    close(fd);
    usleep(pause);
  }
  throw std::runtime_error("nobody listens at " + path);
}

int listenAt(const std::string& path) {
  const sockaddr_un address = addressOf(path);
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  require(fd >= 0 && bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
              listen(fd, 1) == 0,
          "listen");
  return fd;
}

std::array<int, 2> socketPair() {
  std::array<int, 2> ends{};
  require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == 0, "socketpair");
  return ends;
}

void sendAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    require(sent > 0, "send");
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

void receiveSome(int fd, std::string& to) {
  constexpr std::size_t room = 64 << 10;
  const std::size_t had = to.size();
  to.resize(had + room);
  const ssize_t got = recv(fd, to.data() + had, room, 0);
  require(got >= 0, "recv");
  to.resize(had + static_cast<std::size_t>(got));
  if (got == 0) throw std::runtime_error("the connection was closed");
}

}  // namespace Bench
