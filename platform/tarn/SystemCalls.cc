#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "platform/tarn/DirectoryStorage.h"

namespace Tarn {
namespace {

constinit std::atomic<SystemCalls*> chosen{nullptr};

/// The address of a path; false, and errno says why, when it does not fit one.
bool addressIs(sockaddr_un& address, const char* path) {
  address = {};
  address.sun_family = AF_UNIX;
  const std::size_t size = std::strlen(path);
  errno = size == 0 ? EINVAL : ENAMETOOLONG;
  if (size == 0 || size >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path, size);
  return true;
}

}  // namespace

SystemCalls::~SystemCalls() = default;

SystemCalls& SystemCalls::real() {
  static SystemCalls calls;
  return calls;
}

SystemCalls& SystemCalls::current() {
  SystemCalls* calls = chosen.load(std::memory_order_acquire);
  return calls == nullptr ? real() : *calls;
}

void SystemCalls::currentIs(SystemCalls& calls) { chosen.store(&calls, std::memory_order_release); }

int SystemCalls::openat(int directory, const char* name, int flags, mode_t mode) {
  return ::openat(directory, name, flags, mode);
}

int SystemCalls::fallocate(int fd, off_t size) { return ::posix_fallocate(fd, 0, size); }

void* SystemCalls::mmap(std::size_t size, int protection, int fd) {
  const int flags = fd < 0 ? MAP_PRIVATE | MAP_ANONYMOUS : MAP_SHARED;
  if (size < largePageBytes) return ::mmap(nullptr, size, protection, flags, fd, 0);
  // Room for the range wherever in it the first large page begins; what is too much goes back.
  const std::size_t reserved = size + largePageBytes;
  void* const room =
      ::mmap(nullptr, reserved, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (room == MAP_FAILED) return MAP_FAILED;
  auto* const first = static_cast<std::byte*>(room);
  const std::size_t ahead = -reinterpret_cast<std::uintptr_t>(room) % largePageBytes;
  void* const at = ::mmap(first + ahead, size, protection, flags | MAP_FIXED, fd, 0);
  if (at == MAP_FAILED) {
    const int error = errno;
    ::munmap(room, reserved);
    errno = error;
    return MAP_FAILED;
  }
  const auto pageBytes = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  const std::size_t end = (ahead + size + pageBytes - 1) / pageBytes * pageBytes;
  if (ahead != 0) ::munmap(room, ahead);
  if (end < reserved) ::munmap(first + end, reserved - end);
  return at;
}

int SystemCalls::madvise(void* at, std::size_t size, int advice) {
  return ::madvise(at, size, advice);
}

int SystemCalls::renameat(int directory, const char* from, const char* to) {
  return ::renameat(directory, from, directory, to);
}

int SystemCalls::unlinkat(int directory, const char* name) {
  return ::unlinkat(directory, name, 0);
}

int SystemCalls::mkdirat(int directory, const char* name, mode_t mode) {
  return ::mkdirat(directory, name, mode);
}

int SystemCalls::fchown(int fd, uid_t owner, gid_t group) { return ::fchown(fd, owner, group); }

int SystemCalls::fchmod(int fd, mode_t mode) { return ::fchmod(fd, mode); }

int SystemCalls::fstat(int fd, struct stat* out) { return ::fstat(fd, out); }

int SystemCalls::fstatat(int directory, const char* name, struct stat* out) {
  return ::fstatat(directory, name, out, AT_SYMLINK_NOFOLLOW);
}

int SystemCalls::socket(int type) { return ::socket(AF_UNIX, type | SOCK_CLOEXEC, 0); }

int SystemCalls::bind(int fd, const char* path) {
  sockaddr_un address;
  if (!addressIs(address, path)) return -1;
  return ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

int SystemCalls::connect(int fd, const char* path) {
  sockaddr_un address;
  if (!addressIs(address, path)) return -1;
  return ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

ssize_t SystemCalls::send(int fd, const void* bytes, std::size_t size) {
  return ::send(fd, bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
}

}  // namespace Tarn
