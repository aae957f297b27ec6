#include "platform/ringtrace/RingFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "platform/ringtrace/FileHeader.h"
#include "platform/ringtrace/Stamp.h"

namespace RingTrace {
namespace {

[[noreturn]] void fail(int error, const std::string& path, const std::string& what) {
  throw std::system_error(error, std::generic_category(), "ring file " + path + ": " + what);
}

std::size_t checkedSlots(const std::string& path, std::size_t slots) {
  if (slots < leastSlots || slots > mostSlots)
    fail(EINVAL, path, std::to_string(slots) + " slots, must be from 8 to 65536");
  return std::bit_ceil(slots);
}

std::size_t fileSize(std::size_t slots) { return sizeof(FileHeader) + slots * slotSize; }

bool tryLock(const Fd& fd) { return flock(fd.get(), LOCK_EX | LOCK_NB) == 0; }

/// A new file beside `path` under a name of its own, which goes away with this object.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& path)
      : name_(path + ".XXXXXX"), fd_(mkostemp(name_.data(), O_CLOEXEC)) {
    if (!fd_.valid()) fail(errno, path, "cannot create a file beside it");
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() { unlink(name_.c_str()); }

  const std::string& name() const { return name_; }
  Fd& fd() { return fd_; }

 private:
  std::string name_;
  Fd fd_;
};

/// Readable for the group, locked, and with all its blocks: a full disk is an error here, not a
/// SIGBUS later.
void prepare(const Fd& fd, const std::string& path, std::size_t size) {
  if (fchmod(fd.get(), 0640) != 0 || !tryLock(fd)) fail(errno, path, "cannot lock");
  if (const int error = posix_fallocate(fd.get(), 0, static_cast<off_t>(size)); error != 0)
    fail(error, path, "cannot reserve " + std::to_string(size) + " bytes");
}

FileHeader newHeader(std::size_t slots) {
  FileHeader header;
  header.slotCount = slots;
  header.processId = static_cast<std::uint64_t>(getpid());
  header.startWallNs = clockNs(CLOCK_REALTIME);
  header.startMonotonicNs = clockNs(CLOCK_MONOTONIC);
  return header;
}

/// True when the path still names the file behind `fd`.
bool namesFile(const std::string& path, const struct stat& opened) {
  struct stat named {};
  return stat(path.c_str(), &named) == 0 && named.st_dev == opened.st_dev &&
         named.st_ino == opened.st_ino;
}

/// Renames a left-over file; refuses when it is held or none of ours.
void retire(const std::string& path) {
  const Fd old(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!old.valid() && errno == ENOENT) return;
  struct stat status {};
  if (!old.valid() || fstat(old.get(), &status) != 0) fail(errno, path, "cannot open");
  FileHeader header;
  const bool whole = S_ISREG(status.st_mode) &&
                     pread(old.get(), &header, sizeof header, 0) == ssize_t{sizeof header};
  if (!whole || header.magic != fileMagic) fail(EEXIST, path, "is not a ring file");
  if (!tryLock(old)) fail(EBUSY, path, "in use by process " + std::to_string(header.processId));
  // Somebody may have retired it, and begun another, before we had the lock.
  if (!namesFile(path, status)) return;
  if (rename(path.c_str(), (path + ".previous").c_str()) != 0)
    fail(errno, path, "cannot rename to " + path + ".previous");
}

/// Gives the new file its path once nothing else has it.
void publish(const std::string& temporary, const std::string& path) {
  do {
    retire(path);
    if (link(temporary.c_str(), path.c_str()) == 0) return;
  } while (errno == EEXIST);
  fail(errno, path, "cannot link");
}

}  // namespace

void Fd::close() {
  if (valid()) ::close(fd_);
  fd_ = -1;
}

Mapping::Mapping(const std::string& path, const Fd& fd, std::size_t size)
    : at_(nullptr), size_(size) {
  constexpr int access = PROT_READ | PROT_WRITE;
  // Populated, so that the first turn of the ring is no slower than the others.
  void* at = mmap(nullptr, size, access, MAP_SHARED | MAP_POPULATE, fd.get(), 0);
  if (at == MAP_FAILED) fail(errno, path, "cannot map");
  at_ = static_cast<char*>(at);
}

Mapping::~Mapping() {
  if (at_ != nullptr) munmap(at_, size_);
}

std::unique_ptr<RingFile> RingFile::create(const std::string& path, std::size_t slots) {
  const std::size_t count = checkedSlots(path, slots);
  TemporaryFile temporary(path);
  prepare(temporary.fd(), path, fileSize(count));
  // Opened once more: a mapping keeps its descriptor's lock for as long as any process, such as a
  // forked child, has it.
  Mapping mapping(path, Fd(open(temporary.name().c_str(), O_RDWR | O_CLOEXEC)), fileSize(count));
  const FileHeader header = newHeader(count);
  std::memcpy(mapping.data(), &header, sizeof header);
  std::unique_ptr<RingFile> made(
      new RingFile(std::move(temporary.fd()), std::move(mapping), count));
  publish(temporary.name(), path);
  return made;
}

RingFile::RingFile(Fd fd, Mapping mapping, std::size_t slots)
    : fd_(std::move(fd)),
      mapping_(std::move(mapping)),
      ring_(reinterpret_cast<SlotWords*>(mapping_.data() + sizeof(FileHeader)), slots) {}

}  // namespace RingTrace
