#include "agents/routes/FileText.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <system_error>

namespace StaticRoutes {

namespace {

constexpr std::size_t largest = std::size_t{1} << 30;

[[noreturn]] void fail(int error) { throw std::system_error(error, std::generic_category()); }

class OpenFile {
 public:
  OpenFile(const std::string& path, bool mayWait)
      : fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | (mayWait ? 0 : O_NONBLOCK))) {
    if (fd_ < 0) fail(errno);
  }
  ~OpenFile() { ::close(fd_); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  bool isPipe() const {
    struct stat status;
    return ::fstat(fd_, &status) == 0 && S_ISFIFO(status.st_mode);
  }
  /// The number of bytes read; 0 at the end.
  std::size_t read(char* to, std::size_t size) const {
    ssize_t got;
    do {
      got = ::read(fd_, to, size);
    } while (got < 0 && errno == EINTR);
    if (got < 0) fail(errno);
    return static_cast<std::size_t>(got);
  }

 private:
  int fd_;
};

}  // namespace

std::string fileText(const std::string& path, bool mayWait) {
  const OpenFile file(path, mayWait);
  if (!mayWait && file.isPipe()) fail(EOPNOTSUPP);
  std::string text;
  char buffer[65536];
  while (const std::size_t got = file.read(buffer, sizeof buffer)) {
    if (text.size() + got > largest) fail(EFBIG);
    text.append(buffer, got);
  }
  return text;
}

}  // namespace StaticRoutes
