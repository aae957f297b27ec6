#include <fcntl.h>
#include <grp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/centrum/PathLock.h"
#include "platform/centrum/UnixStream.h"
#include "platform/kiln/UnixSocket.h"

namespace Centrum {

namespace {

using Kiln::Fd;
using Kiln::raiseErrno;

bool sameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

class UnixListener final : public Listener {
 public:
  UnixListener(Kiln::EventLoop& loop, const std::string& path, mode_t mode);
  ~UnixListener() override;

  void onAcceptIs(Accept accept) override;
  bool mayWrite(const Peer& peer) const override;
  std::string neededRight() const override;

 private:
  static constexpr double pauseSeconds = 0.1;

  void replaceStale() const;
  void bind(mode_t mode);
  void acceptOne();
  void pause();
  struct stat file() const;

  Kiln::EventLoop& loop_;
  const std::string path_;
  const sockaddr_un address_;
  const PathLock lock_;
  const Fd socket_;
  struct stat made_ {};  // the socket's file
  Accept onAccept_;
  Kiln::TimerId pause_;
};

UnixListener::UnixListener(Kiln::EventLoop& loop, const std::string& path, mode_t mode)
    : loop_(loop),
      path_(path),
      address_(Kiln::unixAddress(path)),
      lock_(path),
      socket_(Kiln::unixSocket()) {
  if (!socket_) raiseErrno(errno, path_);
  replaceStale();
  bind(mode);
}

UnixListener::~UnixListener() {
  loop_.timers().timerDel(pause_);
  loop_.fdDel(socket_.get());
  struct stat there {};
  if (::lstat(path_.c_str(), &there) == 0 && sameFile(there, made_)) ::unlink(path_.c_str());
}

/// Takes a socket away at which nobody answers. Whoever has the lock does this, but others may
/// serve without a lock.
void UnixListener::replaceStale() const {
  struct stat there {};
  if (::lstat(path_.c_str(), &there) != 0) {
    if (errno == ENOENT) return;
    raiseErrno(errno, path_);
  }
  if (!S_ISSOCK(there.st_mode)) raiseErrno(EADDRINUSE, path_ + " is not a socket");
  const Fd probe = Kiln::unixSocket();
  if (!probe) raiseErrno(errno, path_);
  if (Kiln::connectUnix(probe, address_) != ECONNREFUSED)
    raiseErrno(EADDRINUSE, path_ + " is served by another");
  if (::unlink(path_.c_str()) != 0) raiseErrno(errno, path_);
}

/// Connections are taken last, when the mode is right; until then it is never wider than asked for,
/// as the file gets what the socket has.
void UnixListener::bind(mode_t mode) {
  const auto* generic = reinterpret_cast<const sockaddr*>(&address_);
  if (::fchmod(socket_.get(), mode) != 0 || ::bind(socket_.get(), generic, sizeof address_) != 0 ||
      ::lstat(path_.c_str(), &made_) != 0)
    raiseErrno(errno, path_);
  if (::chmod(path_.c_str(), mode) == 0 && ::listen(socket_.get(), SOMAXCONN) == 0) return;
  const int error = errno;
  ::unlink(path_.c_str());
  raiseErrno(error, path_);
}

void UnixListener::onAcceptIs(Accept accept) {
  onAccept_ = std::move(accept);
  loop_.timers().timerDel(pause_);
  if (onAccept_)
    loop_.fdIs(socket_.get(), EPOLLIN, [this](std::uint32_t /*events*/) { acceptOne(); });
  else loop_.fdDel(socket_.get());
}

/// One a turn: the handler, a copy, may destroy the listener.
void UnixListener::acceptOne() {
  Fd socket(::accept4(socket_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
  if (socket) {
    const Accept accept = onAccept_;
    accept(unixStream(loop_, std::move(socket)));
  } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
    pause();
  }
}

/// The connection waits in the kernel, and would wake the loop at once again.
void UnixListener::pause() {
  loop_.fdEventsIs(socket_.get(), 0);
  pause_ = loop_.timers().timerIs(loop_.now() + pauseSeconds,
                                  [this] { loop_.fdEventsIs(socket_.get(), EPOLLIN); });
}

/// As it is now: an administrator may have given it to another group.
struct stat UnixListener::file() const {
  struct stat there {};
  return ::lstat(path_.c_str(), &there) == 0 && sameFile(there, made_) ? there : made_;
}

bool UnixListener::mayWrite(const Peer& peer) const {
  if (peer.uid == 0 || peer.uid == ::geteuid()) return true;
  const gid_t group = file().st_gid;
  return peer.gid == group || std::count(peer.groups.begin(), peer.groups.end(), group) != 0;
}

std::string UnixListener::neededRight() const {
  const gid_t group = file().st_gid;
  std::string room(16384, '\0');
  ::group entry{};
  ::group* found = nullptr;
  ::getgrgid_r(group, &entry, room.data(), room.size(), &found);
  const std::string number = "gid " + std::to_string(group);
  return "group " + (found ? found->gr_name + (" (" + number + ")") : number) + " of the socket " +
         path_;
}

}  // namespace

std::unique_ptr<Listener> unixListenerFactory(Kiln::EventLoop& loop, std::string path,
                                              mode_t mode) {
  return std::make_unique<UnixListener>(loop, path, mode);
}

}  // namespace Centrum
