#include "agents/common/Log.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "agents/common/Printable.h"

namespace Agents {

namespace {

/// Whether a write of PIPE_BUF bytes would not wait. A pipe that has less room is not writable.
bool writable() {
  pollfd one{STDERR_FILENO, POLLOUT, 0};
  return ::poll(&one, 1, 0) == 1 && (one.revents & POLLOUT) != 0;
}

}  // namespace

void Log::line(std::string_view text) {
  if (dropped_ != 0 && write(name_ + ": " + std::to_string(dropped_) + " log lines were lost"))
    dropped_ = 0;
  if (!write(printable(text))) ++dropped_;
}

/// One call, so that lines of several programs do not mix; a line that is too long for that is cut.
bool Log::write(std::string_view text) {
  if (!writable()) return false;
  std::string out(text.substr(0, PIPE_BUF - 1));
  out += '\n';
  ssize_t count = 0;
  do count = ::write(STDERR_FILENO, out.data(), out.size());
  while (count < 0 && errno == EINTR);
  return count == static_cast<ssize_t>(out.size());
}

}  // namespace Agents
