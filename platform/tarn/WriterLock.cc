#include "platform/tarn/WriterLock.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <utility>

#include "platform/tarn/StorageErrors.h"

namespace Tarn {

namespace {

using FileId = std::pair<dev_t, ino_t>;

/// The directories that this process has locked, or the one that it was forked from.
struct Claims {
  std::mutex mutex;
  std::map<FileId, WriterInfo> all;
};

Claims& claims() {
  static auto* const only = new Claims;  // never destroyed: locks may be statics
  return *only;
}

FileId idOf(const struct stat& file) { return {file.st_dev, file.st_ino}; }

struct flock wholeFile(short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return lock;
}

}  // namespace

/// The claim of this process, until it is kept.
struct WriterLock::Claim {
  Claim(const struct stat& directory, const std::string& path, const WriterInfo& info)
      : id(idOf(directory)) {
    const std::lock_guard lock(claims().mutex);
    WriterInfo& at = claims().all[id];
    if (at.pid == info.pid)
      Kiln::raiseErrno(EADDRINUSE, path + " is written by this process, " + at.description());
    at = info;  // that of a parent counts for nothing here
  }
  ~Claim() {
    if (kept) return;
    const std::lock_guard lock(claims().mutex);
    claims().all.erase(id);
  }
  Claim(const Claim&) = delete;
  Claim& operator=(const Claim&) = delete;

  const FileId id;
  bool kept = false;
};

WriterLock::WriterLock(int directory, const std::string& path, const std::string& agent)
    : directory_(directory), path_(path), info_(WriterInfo::own(agent)) {
  if (::fstat(directory_, &locked_) != 0) Kiln::raiseErrno(errno, path_);
  Claim claim(locked_, path_, info_);
  renew();
  claim.kept = true;
}

void WriterLock::renew() {
  while (!take()) {
  }
}

/// Closes before others of this process may open: see the header.
WriterLock::~WriterLock() {
  file_ = PrivateFd();
  const std::lock_guard lock(claims().mutex);
  const auto at = claims().all.find(idOf(locked_));
  if (at != claims().all.end() && at->second.pid == ::getpid()) claims().all.erase(at);
}

/// False when the file went between opening and locking, or its holder between locking and asking.
bool WriterLock::take() {
  constexpr int flags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  Kiln::Fd fd(SystemCalls::current().openat(directory_, lockName, flags, 0600));
  if (!fd) {
    const int error = errno;
    const std::string file = path_ + "/" + lockName;
    struct stat there {};
    const bool isThere = ::fstatat(directory_, lockName, &there, AT_SYMLINK_NOFOLLOW) == 0;
    raiseFailure(file, isThere ? file : path_, isThere ? Right::write : Right::makeIn, error);
  }
  struct flock lock = wholeFile(F_WRLCK);
  if (::fcntl(fd.get(), F_SETLK, &lock) != 0) {
    if (errno != EACCES && errno != EAGAIN) Kiln::raiseErrno(errno, path_ + "/" + lockName);
    struct flock held = wholeFile(F_WRLCK);
    if (::fcntl(fd.get(), F_GETLK, &held) == 0 && held.l_type == F_UNLCK) return false;
    refuse(fd.get(), held.l_pid);
  }
  file_ = PrivateFd(std::move(fd));
  if (!isThere()) return false;
  // That the file says who holds it helps others; the lock is held without.
  const std::string line = info_.text();
  [[maybe_unused]] const ssize_t size = ::pwrite(file_.get(), line.data(), line.size(), 0);
  [[maybe_unused]] const int cut = ::ftruncate(file_.get(), static_cast<off_t>(line.size()));
  return true;
}

/// The kernel knows the PID, unless the holder lives in a container of its own; the text of the
/// file is of one that came before until the holder has written its own.
void WriterLock::refuse(int fd, pid_t holder) const {
  WriterInfo info = WriterInfo::ofFile(fd);
  if (holder > 0 && holder != info.pid) info = {static_cast<int>(holder), {}, 0};
  Kiln::raiseErrno(EADDRINUSE, path_ + " is written by " + info.description());
}

bool WriterLock::ownerIs(const DirectoryRights& rights) const {
  if (rights.owner == static_cast<uid_t>(-1) && rights.group == static_cast<gid_t>(-1)) return true;
  return SystemCalls::current().fchown(file_.get(), rights.owner, rights.group) == 0;
}

bool WriterLock::isThere() const {
  struct stat held {};
  struct stat there {};
  return ::fstat(file_.get(), &held) == 0 &&
         ::fstatat(directory_, lockName, &there, AT_SYMLINK_NOFOLLOW) == 0 &&
         idOf(held) == idOf(there);
}

}  // namespace Tarn
