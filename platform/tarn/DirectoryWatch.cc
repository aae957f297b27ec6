#include "platform/tarn/DirectoryWatch.h"

#include <sys/epoll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/tarn/WriterInfo.h"

namespace Tarn {

namespace {

constexpr std::uint32_t ofDirectory = IN_DELETE_SELF | IN_MOVE_SELF;
constexpr std::uint32_t always = ofDirectory | IN_Q_OVERFLOW | IN_IGNORED | IN_UNMOUNT;
constexpr std::uint32_t wanted = ofDirectory | IN_CREATE | IN_MOVED_TO | IN_ATTRIB;

Kiln::Fd newInotify() {
  Kiln::Fd fd(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (!fd) Kiln::raiseErrno(errno, "inotify (see fs.inotify.max_user_instances)");
  return fd;
}

}  // namespace

DirectoryWatch::DirectoryWatch(Kiln::EventLoop& loop, std::string path,
                               std::function<void()> handler)
    : loop_(loop), path_(std::move(path)), handler_(std::move(handler)), inotify_(newInotify()) {
  loop_.fdIs(inotify_.get(), EPOLLIN, [this](std::uint32_t /*events*/) { hear(); });
}

DirectoryWatch::~DirectoryWatch() { loop_.fdDel(inotify_.get()); }

/// Until the nearest is the same twice: what appeared before it was watched would go unseen.
void DirectoryWatch::renew() {
  for (int found = watchNearest(); found != watch_; found = watchNearest()) {
    if (watch_ >= 0) ::inotify_rm_watch(inotify_.get(), watch_);  // fails when it went by itself
    watch_ = found;
  }
}

int DirectoryWatch::watchNearest() {
  std::string at = path_;
  awaited_.clear();
  for (;;) {
    const int found = ::inotify_add_watch(inotify_.get(), at.c_str(), wanted | IN_ONLYDIR);
    if (found >= 0 || at == "/") return found;
    const std::size_t slash = at.rfind('/');
    awaited_ = at.substr(slash + 1);
    at.resize(slash == 0 ? 1 : slash);
  }
}

void DirectoryWatch::hear() {
  alignas(inotify_event) char bytes[4096];
  bool isNews = false;
  for (ssize_t size; (size = ::read(inotify_.get(), bytes, sizeof bytes)) > 0;) {
    for (const char* at = bytes; at < bytes + size;) {
      inotify_event event;
      std::memcpy(&event, at, sizeof event);
      const char* name = at + sizeof event;
      isNews = isNews || matters(event.mask, event.len == 0 ? "" : name);
      at = name + event.len;
    }
  }
  if (!isNews) return;
  const auto handler = handler_;
  handler();
}

/// Not segments, which come and go while tables are written; a file's rights may have been fixed.
bool DirectoryWatch::matters(std::uint32_t mask, const std::string& name) const {
  if ((mask & always) != 0 || name.empty()) return true;
  if (!awaited_.empty()) return name == awaited_;
  if (name.front() == '.') return false;
  return (mask & IN_ATTRIB) != 0 || name == bellName || name.ends_with(".head");
}

}  // namespace Tarn
