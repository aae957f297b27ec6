#include "tools/mplsctl/Progress.h"

#include <unistd.h>

#include <string_view>
#include <utility>

#include "agents/common/Printable.h"

namespace MplsCtl {

namespace {

constexpr std::uint64_t rowsBetweenLooks = 4096;  // at the clock
constexpr std::chrono::seconds pace{1};

void write(std::string_view text) { (void)!::write(STDERR_FILENO, text.data(), text.size()); }

}  // namespace

Progress::Progress() : isShown_(::isatty(STDERR_FILENO) == 1) {}

void Progress::begin(std::string what, std::uint64_t total) {
  what_ = std::move(what);
  total_ = total;
  done_ = 0;
  next_ = rowsBetweenLooks;
}

void Progress::tell() {
  next_ = done_ + rowsBetweenLooks;
  const auto now = std::chrono::steady_clock::now();
  if (!isShown_ || now - told_ < pace) return;
  told_ = now;
  isLineThere_ = true;
  const std::string of = total_ > done_ ? " of " + std::to_string(total_) : "";
  write("\r" + Agents::printable(what_) + ": " + std::to_string(done_) + of + " rows\x1b[K\r");
}

void Progress::clear() {
  if (std::exchange(isLineThere_, false)) write("\r\x1b[K");
}

}  // namespace MplsCtl
