#include "platform/tarn/StorageErrors.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace Tarn {
namespace {

std::string userAndGroup(uid_t user, gid_t group) {
  return "uid " + std::to_string(user) + ", gid " + std::to_string(group);
}

std::string modeText(mode_t mode) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "%04o", static_cast<unsigned>(mode & 07777));
  return text.data();
}

/// The folder of a path.
std::string above(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

const char* textOf(Right right) {
  if (right == Right::read) return "read";
  return right == Right::write ? "read and write" : "write and search";
}

/// Which right is missing where: to search the lowest folder that can still be looked at, if the
/// path itself cannot.
std::string missingRight(std::string path, Right right) {
  const char* needed = textOf(right);
  struct stat found {};
  while (::stat(path.c_str(), &found) != 0) {
    if (errno != EACCES || path == above(path)) return {};
    path = above(path);
    needed = "search";
  }
  return std::string(": needs the right to ") + needed + " " + path + "; found mode " +
         modeText(found.st_mode) + ", " + userAndGroup(found.st_uid, found.st_gid) +
         "; this process has " + userAndGroup(::geteuid(), ::getegid());
}

std::string descriptorLimit() {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  return std::to_string(limit.rlim_cur);
}

}  // namespace

std::string failureText(const std::string& what, const std::string& path, Right right, int error) {
  switch (error) {
    case EACCES:
    case EPERM:
      return what + missingRight(path, right);
    case ENOSPC:
    case EDQUOT:
      return what + ": no space left on its file system, which must be larger or hold less";
    case EMFILE:
      return what + ": no file descriptors left in this process, which may have " +
             descriptorLimit() + " (RLIMIT_NOFILE)";
    case ENFILE:
      return what + ": no file descriptors left on this machine (raise fs.file-max)";
    case ENOMEM:
      return what + ": no memory or no mappings left (raise the memory limit or vm.max_map_count)";
    case ELOOP:
      return what + ": is a symbolic link, which is not followed";
    default:
      return what;
  }
}

void raiseFailure(const std::string& what, const std::string& path, Right right, int error) {
  throw std::system_error(error, std::generic_category(), failureText(what, path, right, error));
}

}  // namespace Tarn
