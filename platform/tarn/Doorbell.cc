#include "platform/tarn/Doorbell.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>
#include <vector>

#include "platform/kiln/UnixSocket.h"
#include "platform/tarn/StorageErrors.h"
#include "platform/tarn/WriterInfo.h"

namespace Tarn {

namespace {

constexpr const char* temporaryName = ".writer.sock.tmp";

/// To connect takes the right to write: who may read the directory has it.
mode_t socketModeOf(mode_t mode) {
  return 0600 | (mode & 0040 ? 0060 : 0) | (mode & 0004 ? 0006 : 0);
}

bool isWorthWaiting(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

}  // namespace

Doorbell::Doorbell(Kiln::EventLoop& loop, int directory, const std::string& path,
                   const DirectoryRights& rights, mode_t mode)
    : loop_(loop),
      process_(::getpid()),
      directory_(directory),
      path_(path),
      rights_(rights),
      socketMode_(socketModeOf(mode)),
      pause_(loop.timers(), [this] { loop_.fdEventsIs(listener_.get(), EPOLLIN); }) {
  listen();
}

Doorbell::~Doorbell() {
  while (!readers_.empty()) drop(readers_.begin()->first);
  loop_.fdDel(listener_.get());
  if (::getpid() == process_ && isThere()) SystemCalls::current().unlinkat(directory_, bellName);
}

void Doorbell::renew() {
  loop_.fdDel(listener_.get());
  pause_.cancel();
  listen();
}

/// The socket takes connections when it gets its name: readers find it ready.
void Doorbell::listen() {
  SystemCalls& calls = SystemCalls::current();
  Kiln::Fd socket(calls.socket(SOCK_STREAM | SOCK_NONBLOCK));
  if (!socket) raiseFailure("socket " + path_, path_, Right::makeIn, errno);
  calls.unlinkat(directory_, temporaryName);
  const std::string address = Kiln::unixPath(directory_, path_, temporaryName);
  ::fchmod(socket.get(), 0600);  // the file gets what the socket has
  if (calls.bind(socket.get(), address.c_str()) != 0)
    raiseFailure("make " + path_ + "/" + bellName, path_, Right::makeIn, errno);
  const bool isOwn =
      rights_.owner == static_cast<uid_t>(-1) && rights_.group == static_cast<gid_t>(-1);
  if ((!isOwn && ::fchownat(directory_, temporaryName, rights_.owner, rights_.group,
                            AT_SYMLINK_NOFOLLOW) != 0) ||
      ::fchmodat(directory_, temporaryName, socketMode_, 0) != 0 ||
      ::listen(socket.get(), SOMAXCONN) != 0 ||
      calls.fstatat(directory_, temporaryName, &made_) != 0 ||
      calls.renameat(directory_, temporaryName, bellName) != 0) {
    const int error = errno;
    calls.unlinkat(directory_, temporaryName);
    raiseFailure("make " + path_ + "/" + bellName, path_, Right::makeIn, error);
  }
  listener_ = PrivateFd(std::move(socket));
  loop_.fdIs(listener_.get(), EPOLLIN, [this](std::uint32_t /*events*/) { accept(); });
}

bool Doorbell::isThere() const {
  struct stat there {};
  return SystemCalls::current().fstatat(directory_, bellName, &there) == 0 &&
         there.st_dev == made_.st_dev && there.st_ino == made_.st_ino;
}

// ---- Readers -----------------------------------------------------------------------------------

/// Without descriptors connections wait in the kernel, and would wake the loop at once again.
void Doorbell::accept() {
  for (int i = 0; i < acceptsPerTurn; ++i) {
    Kiln::Fd socket(::accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (socket) {
      readerIs(std::move(socket));
      continue;
    }
    if (!isWorthWaiting(errno)) return;
    loop_.fdEventsIs(listener_.get(), 0);
    pause_.scheduleAfter(pauseSeconds);
    return;
  }
}

/// A reader is greeted with a ring: what changed since it looked is news to it.
void Doorbell::readerIs(Kiln::Fd socket) {
  const int fd = socket.get();
  Reader& reader = readers_[fd];
  reader.socket = PrivateFd(std::move(socket));
  reader.hasAnswered = true;
  try {
    loop_.fdIs(fd, EPOLLIN, [this, fd](std::uint32_t /*events*/) { hear(fd); });
  } catch (const std::exception&) {  // it finds out, and comes again
    readers_.erase(fd);
    throw;
  }
  ring(reader);
}

void Doorbell::hear(int fd) {
  std::array<char, 64> answers;
  const ssize_t size = ::recv(fd, answers.data(), answers.size(), 0);
  if (size > 0) {
    Reader& reader = readers_.at(fd);
    reader.hasAnswered = true;
    isDue_ = isDue_ || reader.knows != news_;
  } else if (size == 0 || (errno != EAGAIN && errno != EINTR)) {
    drop(fd);
  }
}

void Doorbell::hearAll() {
  accept();
  std::vector<int> silent;
  for (const auto& [fd, reader] : readers_)
    if (!reader.hasAnswered) silent.push_back(fd);
  for (const int fd : silent) hear(fd);
}

void Doorbell::drop(int fd) {
  loop_.fdDel(readers_.at(fd).socket.get());
  readers_.erase(fd);
}

void Doorbell::ring() {
  if (!isDue_) return;
  isDue_ = false;
  for (auto& one : readers_)
    if (one.second.hasAnswered && one.second.knows != news_) ring(one.second);
}

/// Who has bytes that it did not take (EAGAIN) will come and answer; what the kernel lacks now it
/// may have later; and of a broken connection hear() is told.
void Doorbell::ring(Reader& reader) {
  const char bell = 1;
  const ssize_t size = SystemCalls::current().send(reader.socket.get(), &bell, 1);
  reader.hasAnswered = size < 0 && isWorthWaiting(errno);
  if (reader.hasAnswered) isDue_ = true;
  else reader.knows = news_;
}

}  // namespace Tarn
