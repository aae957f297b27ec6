#include "platform/tarn/WriterInfo.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <ctime>
#include <string_view>

#include "platform/kiln/Fd.h"

namespace Tarn {

namespace {

constexpr const char* temporaryName = ".writer.info.tmp";
constexpr std::size_t textLimit = 256;

std::uint64_t bootTime() {
  timespec now{};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U +
         static_cast<std::uint64_t>(now.tv_nsec);
}

/// Whether all of `text` is a number, which `out` then is.
template <class Number>
bool parse(std::string_view text, Number& out) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), out);
  return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

WriterInfo WriterInfo::own(std::string agent) {
  return {static_cast<int>(::getpid()), std::move(agent), bootTime()};
}

WriterInfo WriterInfo::ofFile(int fd) {
  std::array<char, textLimit> bytes;
  const ssize_t size = ::pread(fd, bytes.data(), bytes.size(), 0);
  std::string_view text(bytes.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
  text = text.substr(0, text.find('\n'));
  const std::size_t first = text.find(' ');
  const std::size_t last = text.rfind(' ');
  WriterInfo info;
  if (first == std::string_view::npos || !parse(text.substr(0, first), info.pid) || info.pid < 1 ||
      !parse(text.substr(last + 1), info.since))
    return {};
  if (last > first) info.agent = text.substr(first + 1, last - first - 1);
  return info;
}

WriterInfo WriterInfo::ofDirectory(int directory) {
  constexpr int flags = O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  const Kiln::Fd fd(::openat(directory, infoName, flags));
  return fd ? ofFile(fd.get()) : WriterInfo{};
}

std::string WriterInfo::text() const {
  return std::to_string(pid) + " " + agent + " " + std::to_string(since) + "\n";
}

std::string WriterInfo::description() const {
  std::string text = "PID " + std::to_string(pid);
  const std::uint64_t now = bootTime();
  if (since == 0 || since > now) return text;
  return text + " (" + (agent.empty() ? "" : agent + ", ") + "started " +
         std::to_string((now - since) / 1'000'000'000U) + " s ago)";
}

bool WriterInfo::publish(int directory, const DirectoryRights& rights) const {
  SystemCalls& calls = SystemCalls::current();
  calls.unlinkat(directory, temporaryName);
  constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
  const Kiln::Fd fd(calls.openat(directory, temporaryName, flags, 0600));
  if (!fd) return false;
  const std::string line = text();
  const bool isOwn =
      rights.owner == static_cast<uid_t>(-1) && rights.group == static_cast<gid_t>(-1);
  if (::write(fd.get(), line.data(), line.size()) == static_cast<ssize_t>(line.size()) &&
      (isOwn || calls.fchown(fd.get(), rights.owner, rights.group) == 0) &&
      calls.fchmod(fd.get(), rights.fileMode) == 0 &&
      calls.renameat(directory, temporaryName, infoName) == 0)
    return true;
  const int error = errno;
  calls.unlinkat(directory, temporaryName);
  errno = error;
  return false;
}

}  // namespace Tarn
