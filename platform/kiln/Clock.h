/// Where an agent gets the time from, so that a test can put its own hand on the dial.
///
/// Times are seconds as `double`: at a year of uptime the steps are 4 nanoseconds.
#pragma once

#include "platform/Export.h"

namespace Kiln {

/// A source of time that never runs backwards.
///
/// Thread    `now()` may be called by any thread, unless the implementation says otherwise.
/// Zero      arbitrary; only differences of times of the same clock mean anything.
class MPLS_EXPORT Clock {
 public:
  Clock() = default;
  virtual ~Clock();
  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;

  /// Seconds since the clock's zero; finite, and never less than an earlier answer.
  virtual double now() const = 0;
};

/// CLOCK_MONOTONIC: not set by anybody, stands still while the machine is suspended.
///
/// Thread    any.
class MPLS_EXPORT MonotonicClock final : public Clock {
 public:
  /// The one that loops use by default; it has no state, so all of them are alike.
  static const MonotonicClock& shared();

  double now() const override;
};

/// A clock that stands still until it is told to move.
///
/// Thread    one; it has no lock.
class MPLS_EXPORT TestClock final : public Clock {
 public:
  /// Starts at `start` seconds; raises std::invalid_argument unless that is finite.
  explicit TestClock(double start = 0);

  double now() const override { return now_; }

  /// Moves the clock to `time`; raises std::invalid_argument, and leaves the clock alone, when that
  /// is before now or not finite.
  void nowIs(double time);

  /// Moves the clock on by `seconds`, zero or more; raises std::invalid_argument as `nowIs` does.
  void advance(double seconds) { nowIs(now_ + seconds); }

 private:
  double now_;
};

}  // namespace Kiln
