#include "platform/centrum/PathLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace Centrum {

PathLock::PathLock(const std::string& path) : path_(path + ".lock") {
  while (!take()) {
  }
}

/// Takes the file away while it is still locked: see take().
PathLock::~PathLock() { ::unlink(path_.c_str()); }

/// False when the file went between opening and locking: then the lock is on nothing.
bool PathLock::take() {
  fd_ = Kiln::Fd(::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!fd_) Kiln::raiseErrno(errno, path_);
  if (::flock(fd_.get(), LOCK_EX | LOCK_NB) != 0)
    Kiln::raiseErrno(errno == EWOULDBLOCK ? EADDRINUSE : errno, path_ + " is held by a server");
  struct stat held {};
  struct stat there {};
  return ::fstat(fd_.get(), &held) == 0 && ::stat(path_.c_str(), &there) == 0 &&
         held.st_dev == there.st_dev && held.st_ino == there.st_ino;
}

}  // namespace Centrum
