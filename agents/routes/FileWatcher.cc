#include "agents/routes/FileWatcher.h"

#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <system_error>

namespace StaticRoutes {

namespace {

constexpr double retryInterval = 0.5;

constexpr std::uint32_t watchedEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE |
                                        IN_DELETE | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF |
                                        IN_ONLYDIR;

int newInotify() {
  const int fd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (fd < 0) throw std::system_error(errno, std::generic_category(), "inotify_init1");
  return fd;
}

std::pair<dev_t, ino_t> identityOf(const std::string& path) {
  struct stat status;
  if (::stat(path.c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino};
}

/// A file that was just created is not written yet; its writer will close it. Links are whole.
bool isWholeWhenCreated(const std::string& path) {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0 && (!S_ISREG(status.st_mode) || status.st_nlink > 1);
}

std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string nameOf(const std::string& path) {
  return path.substr(path.rfind('/') + 1);  // npos + 1 is 0
}

/// The path without symbolic links; empty when it leads to nothing.
std::string resolved(const std::string& path) {
  const std::unique_ptr<char, decltype(&::free)> real(::realpath(path.c_str(), nullptr), &::free);
  return real ? std::string(real.get()) : std::string();
}

}  // namespace

FileWatcher::FileWatcher(Kiln::EventLoop& loop, std::vector<std::string> paths, Handler handler)
    : loop_(loop),
      fd_(newInotify()),
      handler_(std::move(handler)),
      quietTimer_(loop.timers(), [this] { tell(); }),
      retryTimer_(loop.timers(), [this] {
        watchAll();
        changed();
      }) {
  for (std::string& path : paths) files_.push_back({std::move(path), {}, {}});
  try {
    watchAll();
    loop_.fdIs(fd_, EPOLLIN, [this](std::uint32_t) { handleReadable(); });
  } catch (...) {
    ::close(fd_);
    throw;
  }
  for (File& file : files_) file.identity = identityOf(file.path);
}

FileWatcher::~FileWatcher() {
  loop_.fdDel(fd_);
  ::close(fd_);
}

/// Watching a directory again is the same watch. Of a link, the place that it leads to counts too.
void FileWatcher::watchAll() {
  for (File& file : files_) {
    file.entries.clear();
    if (file.path.empty()) continue;
    watch(file, file.path);
    const std::string real = resolved(file.path);
    if (!real.empty() && real != file.path) watch(file, real);
  }
}

void FileWatcher::watch(File& file, const std::string& path) {
  const std::string directory = directoryOf(path);
  const int id = ::inotify_add_watch(fd_, directory.c_str(), watchedEvents);
  if (id >= 0) {
    directories_[id] = directory;
    file.entries.emplace(id, nameOf(path));
    return;
  }
  if (errno == ENOSPC || errno == ENOMEM)
    throw std::system_error(errno, std::generic_category(), "inotify watch of " + directory);
  retryTimer_.scheduleAfter(retryInterval);
}

void FileWatcher::handleReadable() {
  alignas(inotify_event) char buffer[16 * (sizeof(inotify_event) + NAME_MAX + 1)];
  for (ssize_t size; (size = ::read(fd_, buffer, sizeof buffer)) > 0;) {
    for (const char* at = buffer; at < buffer + size;) {
      const auto* const event = reinterpret_cast<const inotify_event*>(at);
      handleEvent(*event);
      at += sizeof *event + event->len;
    }
  }
}

void FileWatcher::handleEvent(const inotify_event& event) {
  if ((event.mask & IN_Q_OVERFLOW) != 0) {
    for (std::size_t i = 0; i < files_.size(); ++i) dirty_.insert(i);
    return changed();
  }
  const auto directory = directories_.find(event.wd);
  if (directory == directories_.end()) return;  // left over from a watch that was removed
  if ((event.mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF)) != 0) {
    if ((event.mask & IN_IGNORED) == 0) ::inotify_rm_watch(fd_, event.wd);
    directories_.erase(directory);
    return handleDirectoryGone();
  }
  const std::string name(event.len != 0 ? event.name : "");
  if ((event.mask & IN_CREATE) != 0 && !isWholeWhenCreated(directory->second + "/" + name)) return;
  for (std::size_t i = 0; i < files_.size(); ++i)
    if (files_[i].entries.contains({event.wd, name})) dirty_.insert(i);
  changed();
}

/// There may be another directory of that name by now.
void FileWatcher::handleDirectoryGone() {
  watchAll();
  changed();
}

/// Starts the quiet time, or prolongs it.
void FileWatcher::changed() {
  const double now = loop_.now();
  if (!quietTimer_.pending()) firstChange_ = now;
  quietTimer_.scheduleAt(std::min(now + quiet, firstChange_ + longest));
}

void FileWatcher::tell() {
  watchAll();  // links may lead elsewhere
  std::set<std::size_t> files = std::exchange(dirty_, {});
  for (std::size_t i = 0; i < files_.size(); ++i) {
    const Identity identity = identityOf(files_[i].path);
    if (std::exchange(files_[i].identity, identity) != identity) files.insert(i);
  }
  if (!files.empty()) handler_(files);
}

}  // namespace StaticRoutes
