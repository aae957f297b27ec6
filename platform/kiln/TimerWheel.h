/// Timers: "at this time, run this", for any number of them at constant cost each.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

#include "platform/Export.h"
#include "platform/kiln/Clock.h"

namespace Kiln {

/// Names one timer of one wheel. No timer of that wheel ever gets the same name again, so a stale
/// one is harmless: it just names nothing.
struct TimerId {
  std::uint64_t serial = 0;  ///< Counts the timers of the wheel from 1; 0 names no timer.
  std::uint32_t node = 0;    ///< Where the wheel keeps it.

  friend bool operator==(const TimerId&, const TimerId&) = default;
};

/// A hierarchical timer wheel with ticks of one millisecond.
///
/// Eleven levels of 64 lists cover every 64-bit tick: a list of level n holds the timers of 64^n
/// ticks, and is spread over the lower levels when the wheel reaches it. Bit maps of the lists in
/// use let the wheel skip what is empty, so a jump of the clock by years costs what the timers cost
/// that it makes due, not what the ticks would.
///
/// Thread    one: that of the event loop.
/// Accuracy  never early. A timer whose time has come runs in the next `runExpired`; the tick only
///           sorts timers into lists and does not round their time. A promise to callers is one
///           tick of delay at most, plus what the loop is busy with.
/// Order     timers run in the order of their time, those of equal time in the order of insertion.
/// Handlers  may add and cancel any timer, themselves and those about to run included. A timer that
///           is due when added runs in the next `runExpired`, never in the same one, so that timers
///           cannot starve the loop. Destroying the wheel in a handler aborts the process.
/// Cost      insert and cancel O(1); a timer moves down at most once a level; those that fall due
///           together are sorted. 64 bytes a timer, reused but kept until the wheel is destroyed.
class MPLS_EXPORT TimerWheel {
 public:
  using Handler = std::function<void()>;
  using ExceptionHandler = std::function<void(std::exception_ptr)>;

  /// The clock must outlive the wheel.
  explicit TimerWheel(const Clock& clock);
  /// Drops all timers without running them.
  ~TimerWheel();
  TimerWheel(const TimerWheel&) = delete;
  TimerWheel& operator=(const TimerWheel&) = delete;

  const Clock& clock() const { return clock_; }
  /// Seconds, by the wheel's clock.
  double now() const { return clock_.now(); }

  /// Runs `handler` once, when the clock has reached `at` (seconds); never before this returns,
  /// even if `at` lies in the past. Raises std::invalid_argument when `at` is not finite or there
  /// is no handler.
  TimerId timerIs(double at, Handler handler);

  /// Cancels a timer; false when it has run, runs now, was cancelled, or never was.
  bool timerDel(TimerId id);

  /// True when the timer exists and neither runs nor has run.
  bool pending(TimerId id) const {
    return id.serial != 0 && id.node < nodes_.size() && nodes_[id.node].serial == id.serial;
  }

  /// Number of pending timers.
  std::size_t size() const { return size_; }

  /// When to call `runExpired` next, in seconds of the clock; infinity when there are no timers.
  /// Never later than the time of the first timer, and exactly that unless an earlier one of the
  /// same list was cancelled: then the call at this time may run nothing, and corrects the answer.
  double nextExpiry() const;

  /// Runs the timers that are due and returns their number. An exception of a handler is passed on;
  /// what was due after it runs in the next call. Raises std::logic_error when called by a handler.
  std::size_t runExpired();

  /// The same, but hands exceptions to `onException` and goes on.
  std::size_t runExpired(const ExceptionHandler& onException);

  /// Cancels all timers.
  void clear();

 private:
  static constexpr unsigned slotBits = 6;
  static constexpr unsigned slotCount = 1U << slotBits;
  static constexpr unsigned levelCount = 11;  // 66 bits: no tick lies beyond the top level
  static constexpr std::uint32_t nearList = levelCount * slotCount;  // ticks that are reached
  static constexpr std::uint32_t noList = nearList + 1;              // free, or about to run
  static constexpr std::uint32_t noNode = ~std::uint32_t{0};

  struct Node {
    double at = 0;
    std::uint64_t serial = 0;  // 0: free
    Handler handler;
    std::uint32_t next = noNode;  // of the list, or of the free nodes
    std::uint32_t previous = noNode;
    std::uint32_t list = noList;
  };
  struct List {
    std::uint32_t head = noNode;
    double earliest = std::numeric_limits<double>::infinity();  // no timer of the list is earlier
  };
  struct Due {
    double at;
    TimerId id;
  };

  std::uint32_t listOf(std::uint64_t tick) const;
  void link(std::uint32_t node, std::uint32_t list);
  void unlink(std::uint32_t node);
  void listIsEmpty(std::uint32_t list);
  Handler release(std::uint32_t node);
  void reach(std::uint64_t tick);
  void spread(std::uint32_t list, std::uint64_t tick);
  void collectDue(double now);
  void putBackDue();

  const Clock& clock_;
  std::uint64_t tick_;        // as far as the wheel has turned; lists of levels hold later ticks
  std::uint64_t serial_ = 0;  // of the newest timer
  std::size_t size_ = 0;
  std::deque<Node> nodes_;  // a deque: a million timers are never moved in one go
  std::uint32_t free_ = noNode;
  std::array<List, nearList + 1> lists_;
  std::array<std::uint64_t, levelCount> slotsInUse_{};  // bit s: list s of that level has timers
  std::uint32_t levelsInUse_ = 0;                       // bit n: level n has timers
  std::vector<Due> due_;  // what runExpired runs; empty when it does not run
  std::size_t nextDue_ = 0;
};

/// One timer that is owned: it carries its handler, can be started again and again, and is
/// cancelled by destruction.
///
/// Thread    that of the wheel, which must outlive it.
/// Handler   may start, cancel and destroy its own timer.
class MPLS_EXPORT Timer {
 public:
  /// Not started. Raises std::invalid_argument when there is no handler.
  Timer(TimerWheel& wheel, TimerWheel::Handler handler);
  ~Timer() { cancel(); }
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  /// Starts the timer, or moves it if it is pending, to the time `at` in seconds. Raises
  /// std::invalid_argument, and changes nothing, when that is not finite.
  void scheduleAt(double at);
  /// The same, `seconds` from now; zero or less runs it in the next `runExpired`.
  void scheduleAfter(double seconds) { scheduleAt(wheel_.now() + seconds); }
  /// Stops the timer; false when it was not pending.
  bool cancel() { return wheel_.timerDel(id_); }
  bool pending() const { return wheel_.pending(id_); }

 private:
  void run();

  TimerWheel& wheel_;
  std::shared_ptr<const TimerWheel::Handler> handler_;  // shared with a run that may destroy us
  TimerId id_;
};

}  // namespace Kiln
