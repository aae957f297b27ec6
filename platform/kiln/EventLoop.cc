#include "platform/kiln/EventLoop.h"

#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace Kiln {

namespace {

// What epoll hands back with an event: generation and number of a watched descriptor. Generations
// start at 1, so the loop's own descriptors have these.
constexpr std::uint64_t wakeToken = 0;
constexpr std::uint64_t signalToken = 1;

std::uint64_t tokenOf(std::uint32_t generation, int fd) {
  return std::uint64_t{generation} << 32 | static_cast<std::uint32_t>(fd);
}

[[noreturn]] void raiseErrno(int error, const std::string& what) {
  throw std::system_error(error, std::generic_category(), "EventLoop: " + what);
}

int orRaise(int result, const char* what) {
  if (result < 0) raiseErrno(errno, what);
  return result;
}

void requireHandler(bool there) {
  if (!there) throw std::invalid_argument("EventLoop: there is no handler");
}

/// Seconds as the kernel takes them, rounded up so that the loop does not wake before the time.
timespec timespecOf(double seconds) {
  constexpr double longest = 1e9;  // thirty years; waking up then does no harm
  const double whole = std::floor(std::min(seconds, longest));
  const auto nanoseconds = static_cast<long>(std::ceil((std::min(seconds, longest) - whole) * 1e9));
  const bool carry = nanoseconds >= 1'000'000'000;
  return {static_cast<time_t>(whole) + carry, carry ? 0 : nanoseconds};
}

std::string textOf(const std::exception_ptr& problem) {
  try {
    std::rethrow_exception(problem);
  } catch (const std::exception& e) {
    return e.what();
  } catch (...) {
    return "an object that is no std::exception";
  }
}

/// Marks the loop as running, and refuses to run it inside itself.
struct Running {
  explicit Running(bool& running) : flag(running) {
    if (flag) throw std::logic_error("EventLoop: a handler must not run the loop that runs it");
    flag = true;
  }
  ~Running() { flag = false; }
  bool& flag;
};

sigset_t noSignals() {
  sigset_t none;
  ::sigemptyset(&none);
  return none;
}

int newSignalFd() {
  const sigset_t none = noSignals();
  return ::signalfd(-1, &none, SFD_CLOEXEC | SFD_NONBLOCK);
}

}  // namespace

EventLoop::EventLoop(const Clock& clock)
    : timers_(clock),
      epollFd_(orRaise(::epoll_create1(EPOLL_CLOEXEC), "epoll_create1")),
      wakeFd_(orRaise(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")),
      signalFd_(orRaise(newSignalFd(), "signalfd")) {
  orRaise(watch(EPOLL_CTL_ADD, wakeFd_.get(), EPOLLIN, wakeToken), "epoll_ctl");
  orRaise(watch(EPOLL_CTL_ADD, signalFd_.get(), EPOLLIN, signalToken), "epoll_ctl");
}

EventLoop::~EventLoop() {
  if (running_) {
    std::fputs("Kiln: an event loop was destroyed by one of its handlers\n", stderr);
    std::abort();
  }
  while (!signals_.empty()) signalDel(signals_.begin()->first);
  // Handlers may own things that remove themselves from the loop: they die while it is whole.
  const auto watches = std::exchange(watches_, {});
  const auto turnEnds = std::exchange(turnEnds_, {});
  const auto posted = std::exchange(posted_, {});
  const auto postedByThreads = std::exchange(postedByThreads_, {});
  timers_.clear();
}

// ---- Work --------------------------------------------------------------------------------------

void EventLoop::post(Handler handler) {
  requireHandler(handler != nullptr);
  posted_.push_back(std::move(handler));
}

void EventLoop::postFromThread(Handler handler) {
  requireHandler(handler != nullptr);
  const std::lock_guard lock(threadsMutex_);
  postedByThreads_.push_back(std::move(handler));
  if (postedByThreads_.size() > 1) return;  // the loop has been woken and has not come yet
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto size = ::write(wakeFd_.get(), &one, sizeof one);  // cannot overflow
}

void EventLoop::takePostedByThreads() {
  std::uint64_t count;
  [[maybe_unused]] const auto size = ::read(wakeFd_.get(), &count, sizeof count);
  std::vector<Handler> taken;
  {
    const std::lock_guard lock(threadsMutex_);
    taken.swap(postedByThreads_);
  }
  for (Handler& one : taken) posted_.push_back(std::move(one));
}

std::size_t EventLoop::runPosted() {
  posting_.swap(posted_);
  for (Handler& slot : posting_) call(std::exchange(slot, nullptr));
  const std::size_t count = posting_.size();
  posting_.clear();
  return count;
}

std::uint64_t EventLoop::turnEndIs(Handler handler) {
  requireHandler(handler != nullptr);
  turnEnds_.emplace(++turnEndId_, std::make_shared<const Handler>(std::move(handler)));
  return turnEndId_;
}

bool EventLoop::turnEndDel(std::uint64_t id) {
  return !turnEnds_.extract(id).empty();  // extracted first: what dies with it may call us
}

void EventLoop::runTurnEnd() {
  const std::uint64_t newest = turnEndId_;
  for (auto at = turnEnds_.begin(); at != turnEnds_.end() && at->first <= newest;) {
    const std::uint64_t id = at->first;
    const auto handler = at->second;
    call(*handler);
    at = turnEnds_.upper_bound(id);
  }
}

// ---- Descriptors -------------------------------------------------------------------------------

int EventLoop::watch(int operation, int fd, std::uint32_t events, std::uint64_t token) {
  epoll_event event{};
  event.events = events;
  event.data.u64 = token;
  return ::epoll_ctl(epollFd_.get(), operation, fd, &event);
}

void EventLoop::fdIs(int fd, std::uint32_t events, FdHandler handler) {
  requireHandler(handler != nullptr);
  if (++generation_ == 0) ++generation_;
  auto next = std::make_shared<Watch>(Watch{generation_, events, std::move(handler)});
  const auto [at, isNew] = watches_.try_emplace(fd);
  const std::uint64_t token = tokenOf(generation_, fd);
  int result = isNew ? -1 : watch(EPOLL_CTL_MOD, fd, events, token);
  // Also when the number was watched, then closed, and names another file by now.
  if (isNew || (result < 0 && errno == ENOENT)) result = watch(EPOLL_CTL_ADD, fd, events, token);
  if (result < 0) {
    const int error = errno;
    if (isNew) watches_.erase(at);
    raiseErrno(error, "descriptor " + std::to_string(fd) + " cannot be watched" +
                          (error == EPERM ? "; is it a regular file?" : ""));
  }
  at->second.swap(next);
}

void EventLoop::fdEventsIs(int fd, std::uint32_t events) {
  const auto at = watches_.find(fd);
  if (at == watches_.end())
    throw std::invalid_argument("EventLoop: descriptor " + std::to_string(fd) + " is not watched");
  Watch& one = *at->second;
  if (watch(EPOLL_CTL_MOD, fd, events, tokenOf(one.generation, fd)) < 0)
    raiseErrno(errno, "the events of descriptor " + std::to_string(fd) + " cannot be changed");
  one.events = events;
}

bool EventLoop::fdDel(int fd) {
  const auto dead = watches_.extract(fd);  // dies last: what its handler owns may call us
  if (dead.empty()) return false;
  watch(EPOLL_CTL_DEL, fd, 0, 0);  // fails when it is closed already, which is as good
  return true;
}

std::size_t EventLoop::runReady() {
  std::size_t count = 0;
  for (std::size_t i = 0; i < readyCount_; ++i) {
    const epoll_event event = ready_[i];
    if (event.data.u64 == signalToken) count += runSignals();
    else if (event.data.u64 != wakeToken) count += runFd(event.data.u64, event.events);
  }
  return count;
}

std::size_t EventLoop::runFd(std::uint64_t token, std::uint32_t events) {
  const auto at = watches_.find(static_cast<int>(token & 0xffffffff));
  if (at == watches_.end() || at->second->generation != token >> 32) return 0;
  const auto one = at->second;
  events &= one->events | EPOLLERR | EPOLLHUP;  // an earlier handler of this turn may want less now
  if (events == 0) return 0;
  call(one->handler, events);
  return 1;
}

// ---- Signals -----------------------------------------------------------------------------------

void EventLoop::signalIs(int signo, SignalHandler handler) {
  requireHandler(handler != nullptr);
  sigset_t one = noSignals();
  if (signo == SIGKILL || signo == SIGSTOP || ::sigaddset(&one, signo) != 0)
    throw std::invalid_argument("EventLoop: signal " + std::to_string(signo) + " is not for us");
  auto shared = std::make_shared<const SignalHandler>(std::move(handler));
  const auto [at, isNew] = signals_.try_emplace(signo);
  at->second.handler.swap(shared);
  if (!isNew) return;
  sigset_t before;
  ::pthread_sigmask(SIG_BLOCK, &one, &before);
  at->second.unblock = ::sigismember(&before, signo) == 0;
  signalFdMaskIs();
}

bool EventLoop::signalDel(int signo) {
  const auto dead = signals_.extract(signo);
  if (dead.empty()) return false;
  signalFdMaskIs();
  sigset_t one = noSignals();
  ::sigaddset(&one, signo);
  if (dead.mapped().unblock) ::pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
  return true;
}

/// Makes the signalfd take the signals of signals_; cannot fail on one that is open.
void EventLoop::signalFdMaskIs() {
  sigset_t all = noSignals();
  for (const auto& one : signals_) ::sigaddset(&all, one.first);
  ::signalfd(signalFd_.get(), &all, 0);
}

std::size_t EventLoop::runSignals() {
  std::array<signalfd_siginfo, 16> arrived;
  const auto size = ::read(signalFd_.get(), arrived.data(), sizeof arrived);
  std::size_t count = 0;
  for (std::size_t i = 0; size > 0 && i < static_cast<std::size_t>(size) / sizeof arrived[0]; ++i) {
    const int signo = static_cast<int>(arrived[i].ssi_signo);
    const auto at = signals_.find(signo);
    if (at == signals_.end()) continue;  // removed by the handler of another
    const auto handler = at->second.handler;
    call(*handler, signo);
    ++count;
  }
  return count;
}

// ---- Running -----------------------------------------------------------------------------------

void EventLoop::run() {
  const Running mark(running_);
  while (!stopping_) turn(forever);
  stopping_ = false;
}

bool EventLoop::runOnce(double maxWaitSeconds) {
  if (std::isnan(maxWaitSeconds)) throw std::invalid_argument("EventLoop: the wait is NaN");
  const Running mark(running_);
  return turn(std::max(maxWaitSeconds, 0.0)).ran > 0;
}

std::size_t EventLoop::runUntilIdle(std::size_t maxTurns) {
  const Running mark(running_);
  std::size_t count = 0;
  for (std::size_t turns = 0;; ++turns) {
    const Turn one = turn(0);
    count += one.ran;
    if (one.idle) return count;
    if (turns == maxTurns)
      throw std::runtime_error("EventLoop: still busy after " + std::to_string(turns) + " turns");
  }
}

bool EventLoop::runUntil(const std::function<bool()>& predicate, double timeoutSeconds) {
  const Running mark(running_);
  const Clock& clock = MonotonicClock::shared();
  const double deadline = clock.now() + timeoutSeconds;
  do {
    if (predicate()) return true;
    turn(std::max(deadline - clock.now(), 0.0));
  } while (clock.now() < deadline);
  return predicate();
}

std::size_t EventLoop::advance(TestClock& clock, double seconds, std::size_t maxTurns) {
  if (&clock != &timers_.clock()) throw std::invalid_argument("EventLoop: not the loop's clock");
  const double end = clock.now() + seconds;
  std::size_t count = runUntilIdle(maxTurns);
  for (double next; (next = timers_.nextExpiry()) <= end; count += runUntilIdle(maxTurns))
    clock.nowIs(next);
  clock.nowIs(end);
  return count + runUntilIdle(maxTurns);
}

EventLoop::Turn EventLoop::turn(double maxWait) {
  wait(waitFor(maxWait));
  for (std::size_t i = 0; i < readyCount_; ++i)
    if (ready_[i].data.u64 == wakeToken) takePostedByThreads();
  Turn result;
  result.ran = runPosted();
  result.ran += timers_.runExpired([this](const auto& problem) { exceptionIs(problem); });
  result.ran += runReady();
  result.idle = result.ran == 0 && readyCount_ == 0;
  if (result.ran > 0) runTurnEnd();
  return result;
}

double EventLoop::waitFor(double maxWait) const {
  if (!posted_.empty() || maxWait == 0) return 0;
  return std::clamp(timers_.nextExpiry() - now(), 0.0, maxWait);
}

/// Waits for events, but not longer than that; a signal handler of others does not cut it short.
void EventLoop::wait(double seconds) {
  const Clock& clock = MonotonicClock::shared();
  const double deadline = seconds == 0 ? 0 : clock.now() + seconds;
  for (;;) {
    const int count = waitOnce(seconds);
    readyCount_ = static_cast<std::size_t>(std::max(count, 0));
    if (count >= 0) return;
    if (errno != EINTR) raiseErrno(errno, "epoll_wait");
    if (seconds > 0) seconds = std::max(deadline - clock.now(), 0.0);
  }
}

int EventLoop::waitOnce(double seconds) {
  const int fd = epollFd_.get();
  const int room = static_cast<int>(ready_.size());
  if (seconds == 0 || seconds == forever)
    return ::epoll_wait(fd, ready_.data(), room, seconds == 0 ? 0 : -1);
  if (preciseWait_) {
    const timespec time = timespecOf(seconds);
    const int count = ::epoll_pwait2(fd, ready_.data(), room, &time, nullptr);
    if (count >= 0 || (errno != ENOSYS && errno != EPERM)) return count;
    preciseWait_ = false;  // a kernel before 5.11, or a sandbox that does not know the call
  }
  const double milliseconds = std::min(std::ceil(seconds * 1000), static_cast<double>(INT_MAX));
  return ::epoll_wait(fd, ready_.data(), room, static_cast<int>(milliseconds));
}

// ---- Exceptions --------------------------------------------------------------------------------

template <class Function, class... Args>
void EventLoop::call(const Function& function, Args... args) {
  try {
    function(args...);
  } catch (...) {
    exceptionIs(std::current_exception());
  }
}

void EventLoop::exceptionIs(const std::exception_ptr& problem) {
  ++handlerExceptions_;
  std::string text = textOf(problem);
  try {
    const ExceptionHandler handler = exceptionHandler_;  // a copy: it may replace itself
    if (handler) return handler(problem);
  } catch (...) {
    text += "; its exception handler threw: " + textOf(std::current_exception());
  }
  std::fprintf(stderr, "Kiln: a handler threw: %s\n", text.c_str());
}

}  // namespace Kiln
