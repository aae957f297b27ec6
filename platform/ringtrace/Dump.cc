#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "platform/ringtrace/OwnRing.h"
#include "platform/ringtrace/RingTrace.h"

namespace RingTrace {
namespace {

using Line = FixedText<payloadSize * 5 + 128>;

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

/// Texts may come from outside: none may end the line or steer a terminal.
void appendPrintable(std::string_view text, Line& to) {
  for (const char c : text) {
    const bool control = static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
    to.append(control ? std::string_view("?") : std::string_view(&c, 1));
  }
}

bool writeLine(int fd, const SlotWords& slot) {
  constexpr std::uint64_t nsPerSecond = 1'000'000'000;
  SlotText text;
  if (!appendText(slot, text)) return true;
  Line line;
  line.append("#");
  line.appendNumber(sequenceOf(slot));
  line.append(" ");
  line.appendNumber(slot[timeAt] / nsPerSecond);
  line.append(".");
  line.appendNumber(slot[timeAt] % nsPerSecond, 9);
  line.append(" thread ");
  line.appendNumber(threadOf(slot));
  line.append(": ");
  appendPrintable(text.view(), line);
  line.append("\n");
  return writeAll(fd, line.view());
}

bool writeMessages(int fd, std::size_t last) {
  const Ring& ring = *ownRing.ring.load(std::memory_order_acquire);
  const std::uint64_t end = ownRing.nextSequence.load(std::memory_order_acquire);
  const std::uint64_t count = std::min({std::uint64_t{last}, std::uint64_t{ring.size()}, end});
  SlotWords slot;
  for (std::uint64_t sequence = end - count; sequence != end; ++sequence) {
    if (!ring.read(sequence, slot) || !isIntact(slot) || sequenceOf(slot) != sequence) continue;
    if (!writeLine(fd, slot)) return false;
  }
  return true;
}

}  // namespace

void dump(int fd, std::size_t last) noexcept {
  const int error = errno;
  if (writeAll(fd, "ring trace, oldest first:\n") && writeMessages(fd, last))
    writeAll(fd, "end of ring trace\n");
  errno = error;
}

}  // namespace RingTrace
