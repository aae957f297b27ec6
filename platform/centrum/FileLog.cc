#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>

#include "platform/centrum/DatabaseLog.h"
#include "platform/centrum/PathLock.h"

namespace Centrum {

namespace {

class File {
 public:
  File() = default;
  explicit File(int fd) : fd_(fd) {}
  File(File&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  File& operator=(File other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~File() {
    if (fd_ >= 0) ::close(fd_);
  }
  int fd() const { return fd_; }
  bool open() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

[[noreturn]] void fail(const char* action, const std::string& path) {
  throw std::system_error(errno, std::generic_category(), std::string(action) + " " + path);
}

/// Where a link leads: the log is replaced by renaming, which would replace the link.
std::string resolved(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr),
                                                         &std::free);
  return real ? std::string(real.get()) : path;
}

/// A device or a pipe would be replaced, or never be read to its end.
void refuseSpecial(const std::string& path) {
  struct stat there {};
  if (::stat(path.c_str(), &there) != 0 || S_ISREG(there.st_mode)) return;
  errno = S_ISDIR(there.st_mode) ? EISDIR : EINVAL;
  fail("no regular file:", path);
}

class FileLog : public LogFile {
 public:
  explicit FileLog(const std::string& path) : path_(resolved(path)) {
    refuseSpecial(path_);
    try {
      lock_.emplace(path_);
    } catch (const std::system_error& problem) {
      // Where no file can be made no other server writes the log either.
      if (problem.code().value() == EADDRINUSE) throw;
    }
  }

  std::string content() override {
    const File file = opened(path_, O_RDONLY);
    if (!file.open() && errno == ENOENT) return {};
    if (!file.open()) fail("cannot open", path_);
    std::string all;
    std::array<char, 1U << 16> part;
    for (;;) {
      const ssize_t count = ::read(file.fd(), part.data(), part.size());
      if (count == 0) return all;
      if (count > 0) all.append(part.data(), static_cast<std::size_t>(count));
      else if (errno != EINTR) fail("cannot read", path_);
    }
  }

  void append(std::string_view bytes) override {
    if (!file_.open()) file_ = opened(path_, O_WRONLY | O_APPEND | O_CREAT);
    if (!file_.open()) fail("cannot open", path_);
    write(file_, bytes, path_);
  }

  void contentIs(std::string_view bytes) override {
    const std::string next = path_ + ".new";
    ::unlink(next.c_str());
    File file = opened(next, O_WRONLY | O_APPEND | O_CREAT | O_EXCL);
    if (!file.open()) fail("cannot create", next);
    try {
      write(file, bytes, next);
      move(next, path_);
    } catch (const std::system_error&) {
      ::unlink(next.c_str());
      throw;
    }
    file_ = std::move(file);
  }

  void remove() override {
    file_ = File();
    if (::unlink(path_.c_str()) != 0 && errno != ENOENT) fail("cannot remove", path_);
  }

  void setAside() override {
    file_ = File();
    move(path_, path_ + ".bad");
  }

  std::string name() const override { return path_; }

 private:
  static File opened(const std::string& path, int flags) {
    return File(::open(path.c_str(), flags | O_CLOEXEC, S_IRUSR | S_IWUSR));
  }
  static void write(const File& file, std::string_view bytes, const std::string& path) {
    while (!bytes.empty()) {
      const ssize_t count = ::write(file.fd(), bytes.data(), bytes.size());
      if (count < 0 && errno != EINTR) fail("cannot write", path);
      if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
    }
  }
  static void move(const std::string& from, const std::string& to) {
    if (std::rename(from.c_str(), to.c_str()) != 0) fail("cannot rename", from);
  }

  const std::string path_;
  std::optional<PathLock> lock_;  // two servers must not mix their logs
  File file_;                     // open for appending, once there is something to append
};

}  // namespace

std::unique_ptr<LogFile> fileLogFactory(const std::string& path) {
  return std::make_unique<FileLog>(path);
}

}  // namespace Centrum
