#include "tools/mplsctl/Ages.h"

#include <array>
#include <cstdio>
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

std::uint64_t utcNow() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U +
         static_cast<std::uint64_t>(now.tv_nsec);
}

std::string utcText(std::uint64_t nanoseconds) {
  const auto seconds = static_cast<std::time_t>(nanoseconds / 1'000'000'000U);
  std::tm parts{};
  ::gmtime_r(&seconds, &parts);
  std::array<char, 32> date{}, text{};
  std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text.data(), text.size(), "%.19s.%06uZ", date.data(),
                static_cast<unsigned>(nanoseconds % 1'000'000'000U / 1000));
  return text.data();
}

std::string writerName(const std::string& agent, std::int64_t pid) {
  if (pid == 0) return {};
  return (agent.empty() ? "" : agent + " ") + "(pid " + std::to_string(pid) + ")";
}

}  // namespace MplsCtl
