/// The one place where an agent waits: for timers, descriptors, signals and work posted to it.
#pragma once

#include <signal.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/Export.h"
#include "platform/kiln/Clock.h"
#include "platform/kiln/TimerWheel.h"

namespace Kiln {

/// An event loop over epoll.
///
/// The loop works in turns. A turn waits for something to do, then runs what was posted before it,
/// the timers that are due and the descriptors and signals that are ready, in this order. If any of
/// them ran, the end-of-turn handlers follow. What a handler posts is run in the next turn, so each
/// turn ends and nobody starves.
///
/// Thread    one: that which made the loop, runs it and destroys it. Only `postFromThread` may be
///           called by others.
/// Handlers  may call everything here but the functions that run the loop (std::logic_error), and
///           may remove any registration, their own included. Destroying the loop in a handler
///           aborts the process.
/// Errors    an exception that leaves a handler is counted and reported, and the loop goes on.
/// Cost      idle costs nothing: one epoll_wait with the time of the next timer, or without limit.
///           A turn is one system call and its handlers. Registering is O(1) plus a system call.
/// Fork      a loop is of no use in a forked child, which shares its descriptors.
class MPLS_EXPORT EventLoop {
 public:
  using Handler = std::function<void()>;
  using FdHandler = std::function<void(std::uint32_t events)>;
  using SignalHandler = std::function<void(int signo)>;
  using ExceptionHandler = std::function<void(std::exception_ptr)>;
  static constexpr double forever = std::numeric_limits<double>::infinity();
  static constexpr std::size_t manyTurns = 1'000'000;

  /// The clock drives the timers and must outlive the loop. Raises std::system_error when the
  /// kernel has no descriptors left.
  explicit EventLoop(const Clock& clock = MonotonicClock::shared());
  /// Drops everything that is registered or posted without running it, and restores the signals.
  ~EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  TimerWheel& timers() { return timers_; }
  const TimerWheel& timers() const { return timers_; }
  /// Seconds, by the loop's clock.
  double now() const { return timers_.now(); }

  // ---- Work ------------------------------------------------------------------------------------

  /// Runs `handler` in the next turn, after all that was posted before it; never inside this call.
  /// Raises std::invalid_argument when there is no handler.
  void post(Handler handler);

  /// The same from any thread; wakes the loop. The loop must not be destroyed meanwhile. What one
  /// thread posts stays in order.
  void postFromThread(Handler handler);

  /// Calls `handler` at the end of each turn in which something ran, in the order of registration;
  /// from the next turn on when registered by an end-of-turn handler. Does not count as having run.
  /// Returns the name by which to remove it.
  std::uint64_t turnEndIs(Handler handler);
  /// Removes an end-of-turn handler; false when there is none of that name.
  bool turnEndDel(std::uint64_t id);

  // ---- Descriptors and signals -----------------------------------------------------------------

  /// Watches a descriptor, which stays the caller's: `handler` gets the events (EPOLLIN, EPOLLOUT
  /// and so on; EPOLLERR and EPOLLHUP always) for as long as they last, or as EPOLLET and
  /// EPOLLONESHOT say. Replaces an earlier registration of `fd`. Raises std::system_error when the
  /// kernel refuses, as it does for a regular file (EPERM) or a closed one (EBADF).
  void fdIs(int fd, std::uint32_t events, FdHandler handler);
  /// Changes the events of a watched descriptor, and arms EPOLLONESHOT again. Raises
  /// std::invalid_argument when it is not watched and std::system_error when the kernel refuses.
  void fdEventsIs(int fd, std::uint32_t events);
  /// Stops watching; false when `fd` was not watched. To be called before `fd` is closed. Nothing
  /// is delivered afterwards, not even to a new registration of the same number.
  bool fdDel(int fd);

  /// Calls `handler` in a turn after `signo` arrived; replaces an earlier one. Blocks the signal in
  /// the calling thread: call this before other threads start, so that they inherit it. Raises
  /// std::invalid_argument for what cannot be caught.
  void signalIs(int signo, SignalHandler handler);
  /// Ends it and unblocks the signal if `signalIs` blocked it; one that arrived and was not yet
  /// handled then takes its course. False when it was not handled.
  bool signalDel(int signo);

  // ---- Running ---------------------------------------------------------------------------------

  /// Turns until `stop()`; at once when that was called before.
  void run();
  /// Lets `run()` return at the end of the turn.
  void stop() { stopping_ = true; }

  /// One turn that waits for at most that many seconds of real time; whether anything ran. Raises
  /// std::invalid_argument for NaN.
  bool runOnce(double maxWaitSeconds);

  /// Runs all there is to run without waiting, and returns the number of handlers run. Raises
  /// std::runtime_error when there is still work after `maxTurns` turns.
  std::size_t runUntilIdle(std::size_t maxTurns = manyTurns);

  /// Turns, one at least, until `predicate` holds after a turn or `timeoutSeconds` of real time,
  /// whatever the loop's clock, have passed; whether it holds. No turn if it holds already.
  bool runUntil(const std::function<bool()>& predicate, double timeoutSeconds);

  /// Moves the loop's clock by `seconds`, stopping at each timer to run the loop until idle, so
  /// that every handler sees the time that it asked for. Returns the number of handlers run. Raises
  /// std::invalid_argument when it is not the loop's clock; else what `runUntilIdle` raises.
  std::size_t advance(TestClock& clock, double seconds, std::size_t maxTurns = manyTurns);

  // ---- Exceptions ------------------------------------------------------------------------------

  /// Number of exceptions that left handlers.
  std::uint64_t handlerExceptions() const { return handlerExceptions_; }
  /// Gets them instead of the standard error output, which an empty handler restores and which also
  /// gets what this handler itself throws.
  void exceptionHandlerIs(ExceptionHandler handler) { exceptionHandler_ = std::move(handler); }
  /// Counts and reports an exception that a handler caught so that it could go on.
  void exceptionIs(const std::exception_ptr& problem);

 private:
  class Fd {  // closes what it holds
   public:
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd() { ::close(fd_); }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return fd_; }

   private:
    const int fd_;
  };
  struct Watch {
    std::uint32_t generation;  // of this registration; events of an older one are not ours
    std::uint32_t events;
    FdHandler handler;
  };
  struct Signal {
    std::shared_ptr<const SignalHandler> handler;
    bool unblock;  // the signal was not blocked before us
  };
  struct Turn {
    std::size_t ran = 0;  // handlers
    bool idle = false;    // nothing ran and nothing was ready
  };

  Turn turn(double maxWait);
  double waitFor(double maxWait) const;
  void wait(double seconds);
  int waitOnce(double seconds);
  void takePostedByThreads();
  std::size_t runPosted();
  std::size_t runReady();
  std::size_t runFd(std::uint64_t token, std::uint32_t events);
  std::size_t runSignals();
  void runTurnEnd();
  int watch(int operation, int fd, std::uint32_t events, std::uint64_t token);
  void signalFdMaskIs();
  template <class Function, class... Args>
  void call(const Function& function, Args... args);

  TimerWheel timers_;  // before all that may own a Timer
  Fd epollFd_;
  Fd wakeFd_;                // an eventfd: something is in postedByThreads_
  Fd signalFd_;              // a signalfd: takes the signals of signals_
  bool preciseWait_ = true;  // epoll_pwait2 is there
  bool running_ = false;
  bool stopping_ = false;
  std::array<epoll_event, 64> ready_;  // what the kernel reported for this turn
  std::size_t readyCount_ = 0;

  std::vector<Handler> posted_;
  std::vector<Handler> posting_;  // those of this turn
  std::mutex threadsMutex_;       // guards postedByThreads_
  std::vector<Handler> postedByThreads_;

  std::unordered_map<int, std::shared_ptr<Watch>> watches_;  // shared with a handler that runs
  std::uint32_t generation_ = 0;
  std::map<int, Signal> signals_;
  std::map<std::uint64_t, std::shared_ptr<const Handler>> turnEnds_;
  std::uint64_t turnEndId_ = 0;

  ExceptionHandler exceptionHandler_;
  std::uint64_t handlerExceptions_ = 0;
};

}  // namespace Kiln
