/// What is stamped on messages: time and thread. Signal handlers may call all of this.
#pragma once

#include <time.h>

#include <cstdint>

namespace RingTrace {

/// Nanoseconds of `clock`, such as CLOCK_MONOTONIC.
inline std::uint64_t clockNs(clockid_t clock) noexcept {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U +
         static_cast<std::uint64_t>(now.tv_nsec);
}

/// The kernel's number of the calling thread; asked once in each thread.
std::uint32_t threadNumber() noexcept;
/// To be called in a forked child, where the calling thread has a new number.
void forgetThreadNumber() noexcept;

}  // namespace RingTrace
