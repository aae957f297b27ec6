#include "platform/tarn/DirectoryStorage.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>

#include "platform/kiln/Fd.h"
#include "platform/tarn/BusErrors.h"
#include "platform/tarn/FileMapping.h"
#include "platform/tarn/StorageErrors.h"

namespace Tarn {
namespace {

using Kiln::Fd;

SystemCalls& calls() { return SystemCalls::current(); }

/// What `call` returns once no signal interrupts it.
template <class Call>
int untilDone(Call call) {
  for (;;)
    if (const int result = call(); result != -1 || errno != EINTR) return result;
}

class DirectoryStorage final : public Storage {
 public:
  explicit DirectoryStorage(const std::string& path);

  void removeTemporaries();
  void rightsAre(const DirectoryRights& rights) { rights_ = rights; }

  std::string name() const override { return path_; }
  Mapping create(std::string_view file, std::size_t size,
                 const std::function<void(std::byte*)>& fill) override;
  Opened open(std::string_view file, Access access) const override;
  void remove(std::string_view file) override;
  bool isThere(std::string_view file, const Mapping& mapping) const override;
  bool isDamaged(const Mapping& mapping) const override;
  std::vector<std::string> files() const override;
  std::string moveAside(const std::vector<std::string>& names) override;

 private:
  class Temporary;

  std::string path(std::string_view file) const { return path_ + "/" + std::string(file); }
  [[noreturn]] void raise(const std::string& what, int error) const {
    raiseFailure(what, path_, Right::makeIn, error);
  }
  Fd openFile(const char* name, int flags) const {
    return Fd(untilDone([&] { return calls().openat(directory_.get(), name, flags, 0600); }));
  }
  void reserve(const Temporary& temporary, std::size_t size) const;
  void giveRights(const Temporary& temporary) const;
  void populate(const Mapping& mapping);
  std::vector<std::string> regularFiles() const;

  const std::string path_;
  Fd directory_;
  DirectoryRights rights_;
  unsigned pause_ = 0;  // files for which large pages are not asked for
};

/// A file before it has its name; goes unless it gets it.
class DirectoryStorage::Temporary {
 public:
  Temporary(const DirectoryStorage& storage, std::string_view file)
      : storage_(storage), file_(file), name_("." + file_ + ".tmp") {
    constexpr int flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    fd_ = storage_.openFile(name_.c_str(), flags);
    if (!fd_ && errno == EEXIST && unlink() == 0) fd_ = storage_.openFile(name_.c_str(), flags);
    check(fd_.get(), "make");
  }
  ~Temporary() {
    if (!named_) unlink();
  }
  Temporary(const Temporary&) = delete;
  Temporary& operator=(const Temporary&) = delete;

  const Fd& fd() const { return fd_; }

  /// Raises what errno says when `result` is that of a call that failed.
  void check(int result, const char* what) const {
    if (result < 0) fail(what, errno);
  }
  [[noreturn]] void fail(const std::string& what, int error) const {
    storage_.raise(what + " " + storage_.path(file_), error);
  }
  void rename() {
    check(untilDone([&] {
            return calls().renameat(storage_.directory_.get(), name_.c_str(), file_.c_str());
          }),
          "rename to");
    named_ = true;
  }

 private:
  int unlink() const {
    return untilDone([&] { return calls().unlinkat(storage_.directory_.get(), name_.c_str()); });
  }

  const DirectoryStorage& storage_;
  const std::string file_;
  const std::string name_;
  Fd fd_;
  bool named_ = false;
};

DirectoryStorage::DirectoryStorage(const std::string& path) : path_(path) {
  constexpr int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
  directory_ = Fd(untilDone([&] { return calls().openat(AT_FDCWD, path.c_str(), flags, 0); }));
  if (!directory_) raiseFailure("open directory " + path, path, Right::read, errno);
}

/// Takes the space now, so that no store to the mapping finds later that there is none (SIGBUS).
void DirectoryStorage::reserve(const Temporary& temporary, std::size_t size) const {
  int error = 0;
  do error = calls().fallocate(temporary.fd().get(), static_cast<off_t>(size));
  while (error == EINTR);
  if (error != 0) temporary.fail("reserve " + std::to_string(size) + " bytes for", error);
}

/// The owner first: changing it may clear bits of the mode.
void DirectoryStorage::giveRights(const Temporary& temporary) const {
  const int fd = temporary.fd().get();
  if (rights_.owner != static_cast<uid_t>(-1) || rights_.group != static_cast<gid_t>(-1))
    temporary.check(untilDone([&] { return calls().fchown(fd, rights_.owner, rights_.group); }),
                    "give owner and group to");
  temporary.check(untilDone([&] { return calls().fchmod(fd, rights_.fileMode); }), "give mode to");
}

/// All of it will be written: one call instead of a fault for each page. Of a large file the kernel
/// is asked for large pages, for the writer and for all readers: lookups at random spend most of
/// their time on finding out where pages are. A kernel that does neither leaves it as it was.
void DirectoryStorage::populate(const Mapping& mapping) {
  constexpr int populateWrite = 23;  // MADV_POPULATE_WRITE of Linux 5.14
  constexpr int collapse = 25;       // MADV_COLLAPSE of Linux 6.1
  // Memory that is in pieces, or a machine too busy to answer soon, will stay so for a while.
  constexpr unsigned filesToPause = 32;
  constexpr auto soon = std::chrono::milliseconds(5);
  if (mapping.size >= largePageBytes && pause_ != 0) {
    --pause_;
  } else if (mapping.size >= largePageBytes) {
    const auto begin = std::chrono::steady_clock::now();
    const bool refused = ::madvise(mapping.data(), mapping.size, collapse) != 0;
    if (refused || std::chrono::steady_clock::now() - begin > soon) pause_ = filesToPause;
  }
  static_cast<void>(::madvise(mapping.data(), mapping.size, populateWrite));
}

Mapping DirectoryStorage::create(std::string_view file, std::size_t size,
                                 const std::function<void(std::byte*)>& fill) {
  Temporary temporary(*this, file);
  reserve(temporary, size);
  struct stat made {};
  temporary.check(untilDone([&] { return calls().fstat(temporary.fd().get(), &made); }), "look at");
  Mapping mapping = mapFile(temporary.fd(), made, Access::write);
  if (!mapping) temporary.fail("map", errno);
  populate(mapping);
  if (fill) fill(mapping.data());
  giveRights(temporary);
  temporary.rename();
  return mapping;
}

Opened DirectoryStorage::open(std::string_view file, Access access) const {
  // Without O_NONBLOCK a pipe in the place of the file would keep us waiting for its other end.
  const int flags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  const auto failed = [&](int error) -> Opened {
    const Right right = access == Access::write ? Right::write : Right::read;
    return {{},
            error,
            failureText("open " + path(file), path(file), right, error) + ": " +
                std::generic_category().message(error)};
  };
  const Fd fd =
      openFile(std::string(file).c_str(), flags | (access == Access::write ? O_RDWR : O_RDONLY));
  if (!fd) return failed(errno);
  struct stat found {};
  if (untilDone([&] { return calls().fstat(fd.get(), &found); }) != 0) return failed(errno);
  if (const auto [error, flaw] = flawOf(found); error != 0) return {{}, error, path(file) + flaw};
  Mapping mapping = mapFile(fd, found, access);
  if (!mapping) return failed(errno);
  return {std::move(mapping), 0, {}};
}

void DirectoryStorage::remove(std::string_view file) {
  const std::string name(file);
  if (untilDone([&] { return calls().unlinkat(directory_.get(), name.c_str()); }) != 0 &&
      errno != ENOENT)
    raise("remove " + path(file), errno);
}

bool DirectoryStorage::isThere(std::string_view file, const Mapping& mapping) const {
  const FileMapping* known = knownOf(mapping);
  if (known == nullptr) return false;
  const std::string name(file);
  struct stat there {};
  if (untilDone([&] { return calls().fstatat(directory_.get(), name.c_str(), &there); }) != 0)
    return errno != ENOENT;
  // While it is mapped its number is given to no other file.
  return there.st_dev == known->device && there.st_ino == known->inode;
}

bool DirectoryStorage::isDamaged(const Mapping& mapping) const {
  const FileMapping* known = knownOf(mapping);
  return known != nullptr && known->range->isDamaged();
}

std::vector<std::string> DirectoryStorage::regularFiles() const {
  struct Close {
    void operator()(DIR* stream) const { ::closedir(stream); }
  };
  const int fd = untilDone(
      [&] { return calls().openat(directory_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0); });
  const std::unique_ptr<DIR, Close> stream(fd < 0 ? nullptr : ::fdopendir(fd));
  if (stream == nullptr) {
    const Fd unused(fd);
    raiseFailure("list " + path_, path_, Right::read, errno);
  }
  std::vector<std::string> names;
  errno = 0;
  while (const dirent* entry = ::readdir(stream.get())) {
    struct stat file {};
    if (entry->d_type == DT_REG ||
        (entry->d_type == DT_UNKNOWN && calls().fstatat(fd, entry->d_name, &file) == 0 &&
         S_ISREG(file.st_mode)))
      names.emplace_back(entry->d_name);
    errno = 0;
  }
  if (errno != 0) raiseFailure("list " + path_, path_, Right::read, errno);
  return names;
}

std::vector<std::string> DirectoryStorage::files() const {
  std::vector<std::string> names = regularFiles();
  std::erase_if(names, [](const std::string& name) { return name.starts_with('.'); });
  return names;
}

/// What is left when a writer is killed in create(). One that stays is in nobody's way: create()
/// tries again to remove it, and says why it cannot.
void DirectoryStorage::removeTemporaries() {
  for (const std::string& name : regularFiles())
    if (name.starts_with('.') && name.ends_with(".tmp"))
      calls().unlinkat(directory_.get(), name.c_str());
}

std::string DirectoryStorage::moveAside(const std::vector<std::string>& names) {
  std::string folder;
  int made = -1;
  for (unsigned n = 1; made != 0; ++n) {
    folder = "aside." + std::to_string(n);
    made = untilDone([&] { return calls().mkdirat(directory_.get(), folder.c_str(), 0755); });
    if (made != 0 && errno != EEXIST) raise("make " + path(folder), errno);
  }
  for (const std::string& name : names) {
    std::string to = folder;
    to.append("/").append(name);
    if (untilDone([&] { return calls().renameat(directory_.get(), name.c_str(), to.c_str()); }) !=
            0 &&
        errno != ENOENT)
      raise("move " + path(name) + " to " + path(to), errno);
  }
  return path(folder);
}

}  // namespace

std::unique_ptr<Storage> directoryStorageFactory(const std::string& path,
                                                 const DirectoryRights& rights) {
  auto storage = std::make_unique<DirectoryStorage>(path);
  storage->rightsAre(rights);
  storage->removeTemporaries();
  return storage;
}

std::unique_ptr<Storage> directoryStorageFactory(const std::string& path) {
  return std::make_unique<DirectoryStorage>(path);
}

}  // namespace Tarn
