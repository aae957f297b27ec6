#include "agents/common/Log.h"

#include <poll.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>

#include "agents/common/Printable.h"
#include "platform/ringtrace/RingTrace.h"

namespace Agents {

namespace {

/// RFC 3339, UTC, milliseconds.
std::string timeText() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  tm parts{};
  ::gmtime_r(&now.tv_sec, &parts);
  char text[32];
  const std::size_t size = ::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text + size, sizeof text - size, ".%03dZ", static_cast<int>(now.tv_nsec / 1000000));
  return text;
}

/// So that the next field is found: blanks, quotation marks and what is empty are quoted.
std::string quoted(const std::string& value) {
  if (!value.empty() && value.find_first_of(" \"\\=") == std::string::npos) return value;
  std::string out = "\"";
  for (const char c : value) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + '"';
}

/// Whether a write of PIPE_BUF bytes would not wait. A pipe that has less room is not writable.
bool writable() {
  pollfd one{STDERR_FILENO, POLLOUT, 0};
  return ::poll(&one, 1, 0) == 1 && (one.revents & POLLOUT) != 0;
}

/// One call, so that lines of several programs do not mix; a line that is too long for that is cut.
bool write(std::string_view text) {
  if (!writable()) return false;
  std::string out(text.substr(0, PIPE_BUF - 1));
  out += '\n';
  ssize_t count = 0;
  do count = ::write(STDERR_FILENO, out.data(), out.size());
  while (count < 0 && errno == EINTR);
  return count == static_cast<ssize_t>(out.size());
}

}  // namespace

std::string Log::head(std::string_view level) const {
  if (form_ == Form::tool) return name_ + ": ";
  return std::string(level) + ' ' + timeText() + ' ' + name_ + ": ";
}

void Log::line(std::string_view level, std::string_view text, const LogFields& fields) {
  if (sink_) return sink_(level, text, fields);
  std::string all(text);
  for (const LogField& one : fields)
    all.append(" ").append(one.key).append("=") += quoted(one.value);
  if (form_ == Form::agent) RingTrace::record(level, " ", all);  // it outlives who reads the log
  put(head(level) + all);
}

void Log::put(const std::string& text) {
  if (dropped_ != 0 && write(head("warn") + std::to_string(dropped_) + " log lines were lost"))
    dropped_ = 0;
  if (!write(printable(text))) ++dropped_;
}

}  // namespace Agents
