#include "tools/mplsctl/Ages.h"

#include <ctime>
#include <iomanip>
#include <sstream>

namespace MplsCtl {

std::string secondsText(double seconds) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(1) << seconds << " s";
  return text.str();
}

double secondsSince(std::uint64_t bootTime) {
  timespec now{};
  ::clock_gettime(CLOCK_BOOTTIME, &now);
  const std::uint64_t nanoseconds = static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U +
                                    static_cast<std::uint64_t>(now.tv_nsec);
  return nanoseconds < bootTime ? 0 : static_cast<double>(nanoseconds - bootTime) * 1e-9;
}

std::string writerName(const std::string& agent, std::int64_t pid) {
  if (pid == 0) return {};
  return (agent.empty() ? "" : agent + " ") + "(pid " + std::to_string(pid) + ")";
}

}  // namespace MplsCtl
