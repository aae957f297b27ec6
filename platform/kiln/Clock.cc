#include "platform/kiln/Clock.h"

#include <time.h>

#include <cmath>
#include <stdexcept>
#include <string>

namespace Kiln {

Clock::~Clock() = default;

const MonotonicClock& MonotonicClock::shared() {
  static const MonotonicClock clock;
  return clock;
}

double MonotonicClock::now() const {
  timespec time;
  ::clock_gettime(CLOCK_MONOTONIC, &time);  // cannot fail: the clock exists and the pointer is good
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

TestClock::TestClock(double start) : now_(start) {
  if (!std::isfinite(start)) throw std::invalid_argument("TestClock: the start is not finite");
}

void TestClock::nowIs(double time) {
  if (!std::isfinite(time)) throw std::invalid_argument("TestClock: the time is not finite");
  if (time < now_)
    throw std::invalid_argument("TestClock: " + std::to_string(time) + " is before now, " +
                                std::to_string(now_));
  now_ = time;
}

}  // namespace Kiln
