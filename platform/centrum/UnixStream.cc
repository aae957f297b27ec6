#include "platform/centrum/UnixStream.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>

#include "platform/kiln/UnixSocket.h"

namespace Centrum {

namespace {

using Kiln::Fd;

std::vector<gid_t> peerGroups(const Fd& socket) {
  std::vector<gid_t> groups(32);
  for (;;) {
    auto size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    const int result = ::getsockopt(socket.get(), SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size);
    const bool tooSmall = result != 0 && errno == ERANGE;  // then `size` is what is needed
    groups.resize(result == 0 || tooSmall ? size / sizeof(gid_t) : 0);
    if (!tooSmall) return groups;
  }
}

/// Who made the connection, or who listened: the kernel noted it at that moment.
Peer peerOf(const Fd& socket) {
  ucred who{};
  socklen_t size = sizeof who;
  if (::getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &who, &size) != 0)
    Kiln::raiseErrno(errno, "credentials of a peer");
  return {who.pid, who.uid, who.gid, peerGroups(socket)};
}

class UnixStream final : public Stream {
 public:
  UnixStream(Kiln::EventLoop& loop, Fd socket)
      : loop_(loop), socket_(std::move(socket)), peer_(peerOf(socket_)) {}
  ~UnixStream() override { loop_.fdDel(socket_.get()); }

  Received read(char* to, std::size_t size) override;
  std::size_t write(std::string_view bytes) override;
  void onReadableIs(Handler handler) override {
    onReadable_ = std::move(handler);
    watch();
  }
  void onWritableIs(Handler handler) override {
    onWritable_ = std::move(handler);
    watch();
  }
  bool peerGone() const override;
  const Peer& peer() const override { return peer_; }

 private:
  void watch();
  void onEvents(std::uint32_t events);

  Kiln::EventLoop& loop_;
  const Fd socket_;
  const Peer peer_;
  Handler onReadable_;
  Handler onWritable_;
  std::uint32_t watched_ = 0;  // what the loop waits for
  bool full_ = false;          // a write was short since onWritable_ was called
  bool ended_ = false;         // read() told so
};

Stream::Received UnixStream::read(char* to, std::size_t size) {
  if (size == 0) return {0, ended_};
  ssize_t count = 0;
  do count = ::recv(socket_.get(), to, size, 0);
  while (count < 0 && errno == EINTR);
  if (count > 0) return {static_cast<std::size_t>(count), false};
  if (count < 0 && (errno == EAGAIN || errno == ENOMEM || errno == ENOBUFS)) return {};
  ended_ = true;
  watch();
  return {0, true};
}

std::size_t UnixStream::write(std::string_view bytes) {
  if (bytes.empty()) return 0;
  ssize_t count = 0;
  do count = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
  while (count < 0 && errno == EINTR);
  if (count < 0 && errno != EAGAIN && errno != ENOMEM && errno != ENOBUFS) {
    ::shutdown(socket_.get(), SHUT_RDWR);  // so that whatever it was, read() tells
    return bytes.size();
  }
  const std::size_t taken = count < 0 ? 0 : static_cast<std::size_t>(count);
  full_ = taken < bytes.size();
  watch();
  return taken;
}

bool UnixStream::peerGone() const {
  pollfd one{socket_.get(), POLLRDHUP, 0};
  return ::poll(&one, 1, 0) > 0;
}

/// The kernel tells of an end always, so a stream that waits for nothing must not be watched.
void UnixStream::watch() {
  std::uint32_t events = 0;
  if (onReadable_ && !ended_) events |= EPOLLIN;
  if (onWritable_ && full_) events |= EPOLLOUT;
  if (events == watched_) return;
  if (events == 0) {
    loop_.fdDel(socket_.get());
  } else if (watched_ == 0) {
    loop_.fdIs(socket_.get(), events, [this](std::uint32_t arrived) { onEvents(arrived); });
  } else {
    loop_.fdEventsIs(socket_.get(), events);
  }
  watched_ = events;
}

/// Calls one handler only, a copy: it may destroy the stream. What else there is lasts.
void UnixStream::onEvents(std::uint32_t events) {
  const bool writable = (watched_ & EPOLLOUT) != 0 && (events & ~EPOLLIN) != 0;
  if (writable) {
    full_ = false;
    watch();
  }
  const Handler handler = writable ? onWritable_ : onReadable_;
  handler();
}

class UnixConnector final : public Connector {
 public:
  UnixConnector(Kiln::EventLoop& loop, std::string path)
      : loop_(loop), path_(std::move(path)), address_(Kiln::unixAddress(path_)) {}

  std::unique_ptr<Stream> connect() override;
  const std::string& problem() const override { return problem_; }
  std::string address() const override { return path_; }

 private:
  Kiln::EventLoop& loop_;
  const std::string path_;
  const sockaddr_un address_;
  std::string problem_;
};

std::unique_ptr<Stream> UnixConnector::connect() {
  Fd socket = Kiln::unixSocket();
  const int error = socket ? Kiln::connectUnix(socket, address_) : errno;
  if (error == 0) return unixStream(loop_, std::move(socket));
  problem_ = "connect to " + path_ + ": " + std::generic_category().message(error);
  return nullptr;
}

}  // namespace

std::unique_ptr<Stream> unixStream(Kiln::EventLoop& loop, Kiln::Fd socket) {
  return std::make_unique<UnixStream>(loop, std::move(socket));
}

std::unique_ptr<Connector> unixConnectorFactory(Kiln::EventLoop& loop, std::string path) {
  return std::make_unique<UnixConnector>(loop, std::move(path));
}

}  // namespace Centrum
