#include "platform/kiln/NumAllocator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <exception>
#include <functional>
#include <iterator>
#include <limits>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/forma/Errors.h"
#include "platform/kiln/EventLoop.h"

namespace Kiln {
namespace {

constexpr std::uint32_t top = std::numeric_limits<std::uint32_t>::max();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double tick = 0.25;  // seconds; times of the model are multiples of it, so exact

/// Hears of changes only, and does what it is told to.
class Watch : public NumAllocatorStatus::NotifieeConst {
 public:
  void onRangeExhausted() override {
    EXPECT_NE(exhausted, notifier()->rangeExhausted());
    exhausted = notifier()->rangeExhausted();
    ++calls;
    if (then) std::exchange(then, nullptr)();
  }
  bool exhausted = false;
  unsigned calls = 0;
  std::function<void()> then;
};

/// Registers before the allocator, so it hears of a range first.
class EarlyBird : public NumAllocatorConfig::NotifieeConst {
 public:
  void onRange() override { then(); }
  std::function<void()> then;
};

class NumAllocatorTest : public ::testing::Test {
 protected:
  NumAllocatorTest() { watch.notifierIs(status); }
  void make(Range range, std::uint32_t moveCount = 1) {
    config = numAllocatorConfigFactory(range, moveCount);
    config->expiryTimeIs(1.0);
    remake();
  }
  void remake() {
    allocator = nullptr;
    allocator = numAllocatorFactory(config, status, loop.timers());
  }

  TestClock clock{100};
  EventLoop loop{clock};
  Forma::Ptr<NumAllocatorConfig> config;
  Forma::Ptr<NumAllocatorStatus> status = numAllocatorStatusFactory();
  Watch watch;
  Forma::Ptr<NumAllocator> allocator;
};

/// Beside the allocator: what is reserved, and what was released when, judged anew at each tick.
class NumAllocatorModelTest : public NumAllocatorTest {
 protected:
  void start(unsigned seed) {
    random.seed(seed);
    base = seed % 2 != 0 ? 0 : top - span;
    moveCount = seed % 3 == 0 ? pick(5) : 1;
    reserved.clear();
    released.clear();
    range = randomRange();
    expiry = 1.0;
    make(range, moveCount);
    compare();
  }

  /// Mostly gets and releases, so that the range is exhausted half of the time.
  void step() {
    const std::uint32_t what = pick(40), number = base + pick(span + 1);
    if (what == 0) changeRange();
    else if (what == 1) changeExpiry();
    else if (what == 2 && pick(4) == 0) changeAllocator();
    else if (what < 6) reserve(number);
    else if (what < 16) release(reserved.empty() || pick(9) == 0 ? number : someReserved());
    else if (what < 22) pass(pick(what == 16 ? 9 : 3));
    else if (what < 24) getAheadOfTheLoop();
    else get();
  }

  void compare() {
    settle();
    const bool waiting = std::ranges::any_of(released, [](const auto& r) { return !r.free; });
    EXPECT_EQ(status->rangeExhausted(), !next());
    EXPECT_EQ(loop.timers().size(), !next() && waiting && expiry < infinity ? 1U : 0U);
    for (std::uint32_t i = 0; i <= span; ++i)
      EXPECT_EQ(allocator->isReserved(base + i), reserved.contains(base + i)) << base + i;
  }

 private:
  struct Released {
    std::uint32_t number;
    double at;
    bool free;
  };
  static constexpr std::uint32_t span = 20;

  std::uint32_t pick(std::uint32_t below) {
    return static_cast<std::uint32_t>(random() % std::max(below, 1U));
  }
  Range randomRange() {
    if (pick(8) == 0) return pick(2) != 0 ? Range() : Range(base + 5, base + 2);
    const std::uint32_t first = pick(span + 1);
    return {base + first, base + first + pick(std::min(span - first + 1, 7U))};
  }

  std::uint32_t someReserved() {
    return *std::next(reserved.begin(), pick(static_cast<std::uint32_t>(reserved.size())));
  }

  /// What the allocator must hand out.
  std::optional<std::uint32_t> next() const {
    for (std::uint32_t i = 0; i <= span; ++i)
      if (range.contains(base + i) && !reserved.contains(base + i) && find(base + i) == end())
        return base + i;
    const auto free = std::ranges::find_if(released, [](const auto& r) { return r.free; });
    return free == end() ? std::nullopt : std::optional(free->number);
  }
  std::vector<Released>::const_iterator end() const { return released.end(); }
  std::vector<Released>::const_iterator find(std::uint32_t number) const {
    return std::ranges::find_if(released, [&](const auto& r) { return r.number == number; });
  }
  /// Frees those that are due, in batches.
  void settle() {
    for (;;) {
      auto from = std::ranges::find_if(released, [](const auto& r) { return !r.free; });
      const auto batch = std::min<std::ptrdiff_t>(std::max(moveCount, 1U), released.end() - from);
      if (batch == 0 || from[batch - 1].at + expiry > clock.now()) return;
      std::for_each(from, from + batch, [](auto& r) { r.free = true; });
    }
  }

  void get() {
    const auto expected = next();
    EXPECT_EQ(allocator->getNumber(), expected ? std::int64_t{*expected} : -1);
    if (expected) take(*expected);
  }
  /// The clock alone decides, whether the timer ran or not.
  void getAheadOfTheLoop() {
    clock.advance(tick);
    settle();
    get();
    loop.runUntilIdle();
  }
  void take(std::uint32_t number) {
    reserved.insert(number);
    if (find(number) != end()) released.erase(find(number));
  }
  void reserve(std::uint32_t number) {
    const bool can = range.contains(number) && !reserved.contains(number);
    EXPECT_EQ(allocator->reserveNumber(number), can);
    if (can) take(number);
  }
  void release(std::uint32_t number) {
    EXPECT_EQ(allocator->releaseNumber(number), reserved.contains(number));
    if (reserved.erase(number) != 0) released.push_back({number, clock.now(), false});
  }
  void changeRange() {
    range = randomRange();
    config->rangeIs(range);
    std::erase_if(reserved, [&](std::uint32_t n) { return !range.contains(n); });
    std::erase_if(released, [&](const auto& r) { return !range.contains(r.number); });
  }
  void changeExpiry() {
    static constexpr double times[] = {-1, 0, tick, 1, 2, infinity};
    expiry = times[pick(6)];
    config->expiryTimeIs(expiry);
    for (auto& one : released) one.free = false;
  }
  void changeAllocator() {
    remake();
    reserved.clear();
    released.clear();
  }
  void pass(std::uint32_t ticks) {
    for (; ticks > 0; --ticks) {
      loop.advance(clock, tick);
      compare();
    }
  }

  std::mt19937_64 random;
  std::uint32_t base = 0;
  Range range;
  std::uint32_t moveCount = 1;
  double expiry = 1;
  std::set<std::uint32_t> reserved;
  std::vector<Released> released;  // in the order of release
};

TEST_F(NumAllocatorModelTest, BehavesLikeSetsAndTimesUnderRandomSteps) {
  for (unsigned seed = 1; seed <= 200 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    start(seed);
    for (int i = 0; i < 400 && !HasFailure(); ++i) {
      step();
      compare();
    }
  }
}

TEST_F(NumAllocatorTest, RangesOfAllNumbersCostNothing) {
  make({0, top});
  EXPECT_TRUE(allocator->reserveNumber(1) && allocator->reserveNumber(top));
  EXPECT_EQ(allocator->getNumber(), 0);
  EXPECT_EQ(allocator->getNumber(), 2);
  config->rangeIs({top, top});
  EXPECT_TRUE(status->rangeExhausted() && allocator->isReserved(top));
  config->rangeIs({0, top});
  EXPECT_EQ(allocator->getNumber(), 0) << "forgotten with the range";
  EXPECT_THROW(numAllocatorFactory(nullptr, status, loop.timers()), Forma::NullException);
  EXPECT_THROW(numAllocatorFactory(config, nullptr, loop.timers()), Forma::NullException);
}

TEST_F(NumAllocatorTest, ChangesHoldForObserversThatHearOfThemBeforeTheAllocator) {
  make({0, 3});
  EarlyBird bird;
  bird.notifierIs(config);
  remake();
  EXPECT_TRUE(allocator->reserveNumber(1));
  bird.then = [&] {
    EXPECT_FALSE(allocator->isReserved(1));
    EXPECT_EQ(allocator->getNumber(), 7);
  };
  config->rangeIs({7, 7});
  EXPECT_TRUE(status->rangeExhausted() && allocator->isReserved(7));
}

TEST_F(NumAllocatorTest, ObserversMayChangeEverything) {
  make({0, 0});
  watch.then = [&] { EXPECT_TRUE(allocator->releaseNumber(0)); };
  EXPECT_EQ(allocator->getNumber(), 0);
  EXPECT_TRUE(status->rangeExhausted() && !allocator->isReserved(0));
  watch.then = [&] {  // the timer tells it; the answer is another flip, and then another range
    watch.then = [&] { config->rangeIs({5, 6}); };
    EXPECT_EQ(allocator->getNumber(), 0);
  };
  loop.advance(clock, 1.0);
  EXPECT_EQ(watch.calls, 4U);
  EXPECT_EQ(allocator->getNumber(), 5);

  watch.then = [] { throw std::runtime_error("an observer's"); };
  std::string problem;
  loop.exceptionHandlerIs([&](const std::exception_ptr& e) {
    try {
      std::rethrow_exception(e);
    } catch (const std::runtime_error& error) {
      problem = error.what();
    }
  });
  EXPECT_EQ(allocator->getNumber(), 6) << "the number is not lost with the exception";
  loop.runUntilIdle();
  EXPECT_EQ(problem, "an observer's");

  const std::function<void()> flips[] = {[&] { allocator->getNumber(); },
                                         [&] { allocator->reserveNumber(0); },
                                         [&] { config->rangeIs(Range()); },
                                         [&] {
                                           config->expiryTimeIs(0.5);
                                           allocator->getNumber();
                                           allocator->releaseNumber(0);
                                           watch.then = [&] { allocator = nullptr; };
                                           loop.advance(clock, 0.5);
                                         }};
  for (const auto& flip : flips) {
    make({0, 0});
    if (&flip != std::end(flips) - 1) watch.then = [&] { allocator = nullptr; };
    flip();
    EXPECT_FALSE(allocator || watch.then);
  }
  EXPECT_EQ(loop.timers().size(), 0U);
}

}  // namespace
}  // namespace Kiln
