#include "platform/tarn/OwnedDirectory.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "platform/tarn/StorageErrors.h"

namespace Tarn {

namespace {

/// The number that `name` stands for: `lookup` finds those that are names.
template <class Id, class Lookup>
Id idOf(const std::string& name, const char* kind, Lookup lookup) {
  Id id = static_cast<Id>(-1);
  if (name.empty()) return id;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), id);
  if (error == std::errc() && end == name.data() + name.size()) return id;
  std::vector<char> room(1 << 16);
  if (!lookup(room, &id)) Kiln::raiseErrno(EINVAL, std::string("there is no ") + kind + " " + name);
  return id;
}

std::string rightsText(mode_t mode, uid_t owner, gid_t group) {
  std::array<char, 16> octal{};
  std::snprintf(octal.data(), octal.size(), "%04o", static_cast<unsigned>(mode & 07777));
  return std::string("mode ") + octal.data() + ", uid " + std::to_string(owner) + ", gid " +
         std::to_string(group);
}

std::string above(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

/// Makes a directory with those above it; one that appears meanwhile is as good. The umask takes
/// nothing away, so that readers find their way.
void makeDirectory(const std::string& path, mode_t mode) {
  int result = ::mkdir(path.c_str(), 0700);
  if (result != 0 && errno == ENOENT && path != above(path)) {
    makeDirectory(above(path), 0755);
    result = ::mkdir(path.c_str(), 0700);
  }
  if (result == 0 && mode != 0700) result = ::chmod(path.c_str(), mode);
  if (result != 0 && errno != EEXIST)
    raiseFailure("make directory " + path, above(path), Right::makeIn, errno);
}

}  // namespace

DirectoryRights rightsOf(const std::string& owner, const std::string& group, mode_t mode) {
  DirectoryRights rights;
  rights.owner = idOf<uid_t>(owner, "user", [&](std::vector<char>& room, uid_t* id) {
    passwd entry{};
    passwd* found = nullptr;
    ::getpwnam_r(owner.c_str(), &entry, room.data(), room.size(), &found);
    if (found != nullptr) *id = found->pw_uid;
    return found != nullptr;
  });
  rights.group = idOf<gid_t>(group, "group", [&](std::vector<char>& room, gid_t* id) {
    ::group entry{};
    ::group* found = nullptr;
    ::getgrnam_r(group.c_str(), &entry, room.data(), room.size(), &found);
    if (found != nullptr) *id = found->gr_gid;
    return found != nullptr;
  });
  rights.fileMode = (mode & 0444) | 0600;
  return rights;
}

Kiln::Fd madeDirectory(const std::string& path) {
  constexpr int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
  SystemCalls& calls = SystemCalls::current();
  Kiln::Fd directory(calls.openat(AT_FDCWD, path.c_str(), flags, 0));
  if (!directory && errno == ENOENT) {
    makeDirectory(path, 0700);
    directory = Kiln::Fd(calls.openat(AT_FDCWD, path.c_str(), flags, 0));
  }
  if (!directory) raiseFailure("open directory " + path, path, Right::read, errno);
  return directory;
}

void rightsAre(const Kiln::Fd& directory, const std::string& path, const DirectoryRights& rights,
               mode_t mode) {
  struct stat found {};
  if (::fstat(directory.get(), &found) != 0) Kiln::raiseErrno(errno, path);
  const uid_t owner = rights.owner == static_cast<uid_t>(-1) ? found.st_uid : rights.owner;
  const gid_t group = rights.group == static_cast<gid_t>(-1) ? found.st_gid : rights.group;
  const mode_t wanted = (found.st_mode & 07000) | (mode & 0777);
  SystemCalls& calls = SystemCalls::current();
  const bool isGiven = owner == found.st_uid && group == found.st_gid;
  if ((isGiven || calls.fchown(directory.get(), owner, group) == 0) &&
      ((found.st_mode & 07777) == wanted || calls.fchmod(directory.get(), wanted) == 0))
    return;
  Kiln::raiseErrno(errno, "directory " + path + " needs " + rightsText(wanted, owner, group) +
                              "; found " + rightsText(found.st_mode, found.st_uid, found.st_gid) +
                              "; this process has uid " + std::to_string(::geteuid()) + ", gid " +
                              std::to_string(::getegid()));
}

std::string absolutePath(const std::string& path) {
  if (path.empty()) Kiln::raiseErrno(EINVAL, "directory path \"\"");
  std::string absolute = std::filesystem::absolute(path);
  while (absolute.size() > 1 && absolute.back() == '/') absolute.pop_back();
  return absolute;
}

int compareFile(const std::string& path, const struct stat& file) {
  struct stat there {};
  if (::stat(path.c_str(), &there) != 0) return errno == ENOTDIR ? ENOENT : errno;
  return there.st_dev == file.st_dev && there.st_ino == file.st_ino ? 0 : ENOENT;
}

}  // namespace Tarn
