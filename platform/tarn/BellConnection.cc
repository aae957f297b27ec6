#include "platform/tarn/BellConnection.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "platform/kiln/UnixSocket.h"
#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/WriterInfo.h"

namespace Tarn {

std::unique_ptr<BellConnection> BellConnection::open(Kiln::EventLoop& loop, int directory,
                                                     const std::string& path, Handler handler) {
  SystemCalls& calls = SystemCalls::current();
  Kiln::Fd socket(calls.socket(SOCK_STREAM | SOCK_NONBLOCK));
  if (!socket) return nullptr;
  const std::string address = Kiln::unixPath(directory, path, bellName);
  while (calls.connect(socket.get(), address.c_str()) != 0)
    if (errno != EINTR) return nullptr;
  return std::make_unique<BellConnection>(loop, std::move(socket), std::move(handler));
}

BellConnection::BellConnection(Kiln::EventLoop& loop, Kiln::Fd socket, Handler handler)
    : loop_(loop), handler_(std::move(handler)), socket_(std::move(socket)) {
  loop_.fdIs(socket_.get(), EPOLLIN, [this](std::uint32_t /*events*/) { hear(); });
}

BellConnection::~BellConnection() { loop_.fdDel(socket_.get()); }

/// When it cannot be sent the next look without a ring does it again; when nobody is there any more
/// hear() is told.
void BellConnection::answer() {
  const char byte = 1;
  SystemCalls::current().send(socket_.get(), &byte, 1);
}

int BellConnection::peer() const {
  ucred who{};
  socklen_t size = sizeof who;
  return ::getsockopt(socket_.get(), SOL_SOCKET, SO_PEERCRED, &who, &size) == 0 ? who.pid : 0;
}

void BellConnection::hear() {
  std::array<char, 64> bells;
  const ssize_t size = ::recv(socket_.get(), bells.data(), bells.size(), 0);
  if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
  const Handler handler = handler_;
  handler(size > 0 ? Event::rung : Event::over);
}

}  // namespace Tarn
