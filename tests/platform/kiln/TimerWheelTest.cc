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
#include <vector>

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
    if (const auto what = pick(10); what < 5) add();
    else if (what < 7) cancel();
    else run();
    check();
  }

  /// Walks by nextExpiry: every timer must run at exactly its own time, after few idle stops.
  void drain() {
    for (std::size_t stops = 0; !timers_.empty(); ++stops) {
      ASSERT_LE(stops, 12 * (timers_.size() + ran_ + 1));
      clock_.nowIs(std::max(wheel_.nextExpiry(), clock_.now()));
      const bool isDue = timers_.begin()->first <= clock_.now();
      wild_ = false;
      ASSERT_EQ(runDue() > 0, isDue);
      check();
    }
    EXPECT_EQ(wheel_.nextExpiry(), infinity);
  }

 private:
  struct Timer {
    TimerId id;
    std::uint64_t round;  // of runExpired, in or before which it was added
  };
  using Timers = std::multimap<double, Timer>;

  unsigned pick(unsigned below) { return static_cast<unsigned>(random_() % below); }
  double fraction() { return std::uniform_real_distribution<>(0, 1)(random_); }

  double distance(unsigned scales) {
    static constexpr double scale[] = {0,   1e-4, 1e-3, 2e-3, 0.06, 0.064, 0.07, 1,
                                       4.1, 300,  3e5,  1e8,  1e12, 1e16,  1e300};
    const double furthest = scale[pick(scales)];
    return pick(3) == 0 ? furthest : furthest * fraction();
  }

  void add() {
    const double at = clock_.now() + (pick(6) == 0 ? -1 : 1) * distance(scales_);
    const auto position = timers_.insert({at, Timer{{}, round_ + (running_ ? 1 : 0)}});
    position->second.id = wheel_.timerIs(at, [this, position] { ran(position); });
  }

  void cancel() {
    if (timers_.empty()) return;
    const auto position = std::next(timers_.begin(), pick(static_cast<unsigned>(timers_.size())));
    const TimerId id = position->second.id;
    timers_.erase(position);
    EXPECT_TRUE(wheel_.pending(id));
    EXPECT_TRUE(wheel_.timerDel(id));
    EXPECT_FALSE(wheel_.timerDel(id));
  }

  /// The handler of every timer: it must be the first one due in this round.
  void ran(Timers::iterator position) {
    const auto first = std::find_if(timers_.begin(), timers_.end(),
                                    [&](const auto& one) { return one.second.round <= round_; });
    ASSERT_EQ(first, position) << position->first << " ran before " << first->first;
    ASSERT_LE(position->first, clock_.now());
    const TimerId id = position->second.id;
    timers_.erase(position);
    EXPECT_FALSE(wheel_.timerDel(id)) << "a timer that runs is not pending";
    ++ran_;
    if (!wild_) return;
    for (unsigned i = pick(3); i > 0; --i) add();
    for (unsigned i = pick(3); i > 0; --i) cancel();
  }

  void run() {
    if (pick(4) != 0) clock_.advance(distance(pick(20) == 0 ? scales_ : 8));
    wild_ = true;
    runDue();
  }

  std::size_t runDue() {
    const std::size_t before = ran_;
    running_ = true;
    const std::size_t count = wheel_.runExpired();
    running_ = false;
    EXPECT_EQ(count, ran_ - before);
    for (const auto& [at, timer] : timers_) {
      if (at > clock_.now()) break;
      EXPECT_GT(timer.round, round_) << "due at " << at << " but did not run";
    }
    ++round_;
    return count;
  }

  void check() {
    ASSERT_EQ(wheel_.size(), timers_.size());
    if (timers_.empty()) ASSERT_EQ(wheel_.nextExpiry(), infinity);
    else ASSERT_LE(wheel_.nextExpiry(), timers_.begin()->first);
  }

  std::mt19937_64 random_;
  TestClock clock_;
  const unsigned scales_;
  TimerWheel wheel_{clock_};
  Timers timers_;
  std::uint64_t round_ = 0;
  std::size_t ran_ = 0;
  bool running_ = false;
  bool wild_ = false;
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

TEST_F(TimerWheelCases, RunsAtItsTimeAndNotTheSmallestStepBefore) {
  for (const double delay : {1e-9, 0.0005, 0.001, 0.1 + 0.2, 0.0639999, 4.096, 1e5, 1e9}) {
    const double at = clock.now() + delay;
    wheel.timerIs(at, [] {});
    EXPECT_EQ(wheel.nextExpiry(), at);
    clock.nowIs(std::nextafter(at, 0));
    EXPECT_EQ(wheel.runExpired(), 0U) << delay;
    clock.nowIs(at);
    EXPECT_EQ(wheel.runExpired(), 1U) << delay;
  }
}

TEST_F(TimerWheelCases, NextExpiryIsExactUntilAnEarlierTimerIsCancelledAndSoonAfter) {
  wheel.timerIs(110, note("b"));
  const TimerId first = wheel.timerIs(109, note("a"));
  EXPECT_EQ(wheel.nextExpiry(), 109);
  wheel.timerDel(first);
  clock.nowIs(wheel.nextExpiry());
  EXPECT_EQ(wheel.runExpired(), 0U);
  EXPECT_EQ(wheel.nextExpiry(), 110);
}

TEST_F(TimerWheelCases, RefusesTimesThatAreNoneAndMissingHandlers) {
  for (const double at : {nan, infinity, -infinity})
    EXPECT_THROW(wheel.timerIs(at, [] {}), std::invalid_argument);
  EXPECT_THROW(wheel.timerIs(101, nullptr), std::invalid_argument);
  EXPECT_THROW(Timer(wheel, nullptr), std::invalid_argument);
  EXPECT_EQ(wheel.size(), 0U);
  EXPECT_FALSE(wheel.timerDel(TimerId{}));
}

TEST_F(TimerWheelCases, IdsAreNotReusedWithTheirPlace) {
  const TimerId old = wheel.timerIs(101, note("old"));
  wheel.timerDel(old);
  const TimerId next = wheel.timerIs(101, note("new"));
  EXPECT_EQ(old.node, next.node) << "else this test shows nothing";
  EXPECT_FALSE(wheel.timerDel(old));
  wheel.clear();
  EXPECT_FALSE(wheel.pending(next));
  wheel.timerIs(101, note("third"));
  EXPECT_FALSE(wheel.timerDel(next));
  clock.advance(1);
  wheel.runExpired();
  EXPECT_EQ(log, "third");
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

TEST_F(TimerWheelCases, HandlersMayNotRunTheWheelButMayClearIt) {
  wheel.timerIs(100, [this] { EXPECT_THROW(wheel.runExpired(), std::logic_error); });
  wheel.timerIs(100, [this] {
    wheel.clear();
    EXPECT_EQ(wheel.nextExpiry(), infinity);
    wheel.timerIs(100, note("added"));
  });
  wheel.timerIs(100, note("cleared"));
  EXPECT_EQ(wheel.runExpired(), 2U);
  EXPECT_EQ(wheel.runExpired(), 1U);
  EXPECT_EQ(log, "added");
}

TEST_F(TimerWheelCases, AnOwnedTimerMovesStopsAndDiesWithItsOwner) {
  auto timer = std::make_unique<Timer>(wheel, note("t"));
  timer->scheduleAt(101);
  timer->scheduleAfter(2);
  EXPECT_THROW(timer->scheduleAfter(nan), std::invalid_argument);
  clock.nowIs(101);
  EXPECT_EQ(wheel.runExpired(), 0U);
  EXPECT_TRUE(timer->pending());
  clock.nowIs(102);
  EXPECT_EQ(wheel.runExpired(), 1U);
  EXPECT_FALSE(timer->cancel());
  timer->scheduleAfter(0);
  timer.reset();
  EXPECT_EQ(wheel.runExpired(), 0U);
}

TEST_F(TimerWheelCases, AnOwnedTimerMayRestartAndDestroyItselfInItsHandler) {
  int left = 3;
  std::unique_ptr<Timer> timer;
  timer = std::make_unique<Timer>(wheel, [&, text = std::string(100, 'x')] {
    if (--left > 0) timer->scheduleAfter(1);
    else timer.reset();
    log += text.substr(0, 1);  // what the handler holds is still there
  });
  for (timer->scheduleAfter(1); wheel.size() > 0; wheel.runExpired()) clock.advance(1);
  EXPECT_EQ(log, "xxx");
  EXPECT_EQ(clock.now(), 103);
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
  TestClock clock(5);
  clock.advance(1.5);
  clock.nowIs(6.5);
  for (const double time : {6.4, nan, infinity}) {
    EXPECT_THROW(clock.nowIs(time), std::invalid_argument);
    EXPECT_THROW(TestClock{time * infinity}, std::invalid_argument);
  }
  EXPECT_THROW(clock.advance(-1e-3), std::invalid_argument);
  EXPECT_EQ(clock.now(), 6.5);
}

}  // namespace
}  // namespace Kiln
