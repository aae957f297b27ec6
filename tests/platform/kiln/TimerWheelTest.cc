#include "platform/kiln/TimerWheel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>

namespace Kiln {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// A wheel beside a multimap that says what must run and in which order. The multimap keeps timers
/// of equal time in the order of insertion, which is the wheel's promise.
class Model {
 public:
  /// Odd seeds stay within minutes, so that the lower levels are busy; others go anywhere.
  explicit Model(unsigned seed)
      : random_(seed), clock_(pick(2) != 0 ? 0 : 1e6 + 0.1234), scales_(seed % 2 != 0 ? 10 : 15) {}

  void step() {
    if (const unsigned what = pick(10); what < 5) add();
    else if (what < 7) cancel();
    else if (pick(30) == 0) clear();
    else runAt(clock_.now() + (pick(4) == 0 ? 0 : distance(pick(20) == 0 ? scales_ : 8)));
  }

  /// Walks by nextExpiry: nothing runs before it, and few stops are idle.
  void drain() {
    wild_ = false;
    for (std::size_t stops = 0; !timers_.empty(); ++stops) {
      ASSERT_LE(stops, 12 * (timers_.size() + ran_ + 1));
      const double next = wheel_.nextExpiry();
      runAt(std::nextafter(next, 0));
      runAt(next);
    }
  }

 private:
  struct Timer {
    TimerId id;
    std::uint64_t round;  // of runExpired, in or before which it was added
  };
  using Timers = std::multimap<double, Timer>;

  unsigned pick(std::size_t below) { return static_cast<unsigned>(random_() % below); }

  double distance(unsigned scales) {
    static constexpr double scale[] = {0,   1e-4, 1e-3, 2e-3, 0.06, 0.064, 0.07, 1,
                                       4.1, 300,  3e5,  1e8,  1e12, 1e16,  1e300};
    const double furthest = scale[pick(scales)];
    return pick(3) == 0 ? furthest : std::uniform_real_distribution<>(0, furthest)(random_);
  }

  void add() {
    const double at = clock_.now() + (pick(6) == 0 ? -1 : 1) * distance(scales_);
    const auto position = timers_.insert({at, Timer{{}, round_}});
    position->second.id = wheel_.timerIs(at, [this, position] { ran(position); });
    check();
  }

  void cancel() {
    if (timers_.empty()) return;
    const auto position = std::next(timers_.begin(), pick(timers_.size()));
    EXPECT_TRUE(wheel_.timerDel(position->second.id));
    forget(position);
  }

  void clear() {
    gone_ = timers_.empty() ? gone_ : timers_.begin()->second.id;
    timers_.clear();
    wheel_.clear();
    check();
  }

  void forget(Timers::iterator position) {
    gone_ = position->second.id;
    timers_.erase(position);
    check();
  }

  /// The handler of every timer: it must be the first one due in this round.
  void ran(Timers::iterator position) {
    const auto first = std::find_if(timers_.begin(), timers_.end(),
                                    [&](const auto& one) { return one.second.round < round_; });
    ASSERT_EQ(first, position) << position->first << " ran before " << first->first;
    ASSERT_LE(position->first, clock_.now());
    forget(position);
    ++ran_;
    if (!wild_) return;
    if (pick(500) == 0) clear();
    for (unsigned i = pick(3); i > 0; --i) add();
    for (unsigned i = pick(3); i > 0; --i) cancel();
  }

  /// Runs what is due when the clock has reached `time`, and checks that it was all.
  void runAt(double time) {
    clock_.nowIs(std::max(time, clock_.now()));
    const std::size_t before = ran_;
    ++round_;
    const std::size_t count = wheel_.runExpired();
    EXPECT_EQ(count, ran_ - before);
    for (auto one = timers_.begin(); one != timers_.end() && one->first <= clock_.now(); ++one)
      EXPECT_EQ(one->second.round, round_) << "due at " << one->first << " but did not run";
    check();
  }

  void check() {
    ASSERT_EQ(wheel_.size(), timers_.size());
    if (timers_.empty()) ASSERT_EQ(wheel_.nextExpiry(), infinity);
    else ASSERT_LE(wheel_.nextExpiry(), timers_.begin()->first);
    ASSERT_FALSE(wheel_.timerDel(gone_)) << "its place may be used again, but not its name";
  }

  std::mt19937_64 random_;
  TestClock clock_;
  const unsigned scales_;
  TimerWheel wheel_{clock_};
  Timers timers_;
  TimerId gone_;  // of the last timer that ran or was cancelled
  std::uint64_t round_ = 0;
  std::size_t ran_ = 0;
  bool wild_ = true;
};

TEST(TimerWheelTest, BehavesLikeASortedListUnderRandomSteps) {
  for (unsigned seed = 1; seed <= 500 && !::testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Model model(seed);
    for (int i = 0; i < 300 && !::testing::Test::HasFailure(); ++i) model.step();
    model.drain();
  }
}

class TimerWheelCases : public ::testing::Test {
 protected:
  TimerWheel::Handler note(std::string what) {
    return [this, what] { log += what; };
  }

  TestClock clock{100};
  TimerWheel wheel{clock};
  std::string log;
};

TEST_F(TimerWheelCases, NextExpiryIsExactUntilAnEarlierTimerIsCancelledAndSoonAfter) {
  wheel.timerIs(110.0004, note("b"));
  const TimerId first = wheel.timerIs(109, note("a"));
  EXPECT_EQ(wheel.nextExpiry(), 109);
  wheel.timerDel(first);
  clock.nowIs(wheel.nextExpiry());
  EXPECT_EQ(wheel.runExpired(), 0U);
  EXPECT_EQ(wheel.nextExpiry(), 110.0004);
}

TEST_F(TimerWheelCases, RefusesTimesThatAreNoneMissingHandlersAndNestedRuns) {
  for (const double at : {nan, infinity, -infinity})
    EXPECT_THROW(wheel.timerIs(at, [] {}), std::invalid_argument);
  EXPECT_THROW(wheel.timerIs(101, nullptr), std::invalid_argument);
  EXPECT_THROW(Timer(wheel, nullptr), std::invalid_argument);
  EXPECT_EQ(wheel.size(), 0U);
  wheel.timerIs(100, [this] { EXPECT_THROW(wheel.runExpired(), std::logic_error); });
  EXPECT_EQ(wheel.runExpired(), 1U);
}

TEST_F(TimerWheelCases, AnExceptionKeepsTheRestForTheNextRunOrGoesToItsHandler) {
  wheel.timerIs(100, note("a"));
  wheel.timerIs(100, [] { throw std::runtime_error("first"); });
  const TimerId gone = wheel.timerIs(100, note("x"));
  wheel.timerIs(100, note("b"));
  EXPECT_THROW(wheel.runExpired(), std::runtime_error);
  wheel.timerIs(99, [] { throw std::runtime_error("second"); });
  wheel.timerDel(gone);
  int problems = 0;
  EXPECT_EQ(wheel.runExpired([&](const std::exception_ptr&) { ++problems; }), 2U);
  EXPECT_EQ(problems, 1);
  EXPECT_EQ(log, "ab");
}

TEST_F(TimerWheelCases, AnOwnedTimerMovesRestartsStopsAndMayDestroyItself) {
  std::unique_ptr<Timer> timer;
  timer = std::make_unique<Timer>(wheel, [&, text = std::string(100, 'x')] {
    if (log.empty()) timer->scheduleAfter(1);
    else timer.reset();
    log += text.substr(0, 1);  // what the handler holds is still there
  });
  timer->scheduleAt(101);
  timer->scheduleAfter(2);
  EXPECT_THROW(timer->scheduleAfter(nan), std::invalid_argument);
  clock.nowIs(101);
  EXPECT_EQ(wheel.runExpired(), 0U);
  EXPECT_TRUE(timer->cancel());
  EXPECT_FALSE(timer->cancel());
  for (timer->scheduleAfter(1); wheel.size() > 0; wheel.runExpired()) clock.advance(1);
  EXPECT_EQ(log, "xx");
  EXPECT_EQ(clock.now(), 103);
  Timer(wheel, note("dead")).scheduleAfter(0);
  EXPECT_EQ(wheel.size(), 0U);
}

TEST_F(TimerWheelCases, HandlersMayCallTheWheelAsTheyAreDropped) {
  TimerId first, second;
  const auto addTimers = [&](TimerWheel& to) {
    first = to.timerIs(101, note(std::string(100, 'x')));
    second = to.timerIs(101, [onDeath = std::shared_ptr<void>(nullptr, [&](void*) {
                                to.timerDel(first);
                                to.timerIs(102, note("last"));
                              })] {});
  };
  TimerWheel other(clock);
  addTimers(other);  // dropped with the wheel
  addTimers(wheel);
  EXPECT_TRUE(wheel.timerDel(second));
  EXPECT_EQ(wheel.nextExpiry(), 102);
  EXPECT_EQ(wheel.size(), 1U);
}

TEST(TimerWheelDeathTest, IsNotDestroyedByItsOwnTimer) {
  const auto destroy = [] {
    auto wheel = std::make_unique<TimerWheel>(MonotonicClock::shared());
    wheel->timerIs(0, [&] { wheel.reset(); });
    wheel->runExpired();
  };
  EXPECT_DEATH(destroy(), "a timer wheel was destroyed by the handler");
}

TEST(ClockTest, ATestClockMovesForwardOnly) {
  TestClock clock(6.5);
  for (const double time : {6.4, nan, infinity}) {
    EXPECT_THROW(clock.nowIs(time), std::invalid_argument);
    EXPECT_THROW(TestClock{time * infinity}, std::invalid_argument);
  }
  EXPECT_THROW(clock.advance(-1e-3), std::invalid_argument);
  EXPECT_EQ(clock.now(), 6.5);
}

}  // namespace
}  // namespace Kiln
