#include "platform/kiln/EventLoop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/time.h>

#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace Kiln {
namespace {

struct Pipe {
  Pipe() { EXPECT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0); }
  ~Pipe() {
    ::close(in());
    ::close(out());
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  int out() const { return ends[0]; }
  int in() const { return ends[1]; }
  void fill() const { EXPECT_EQ(::write(in(), "x", 1), 1); }
  void drain() const {
    char one;
    EXPECT_EQ(::read(out(), &one, 1), 1);
  }

  int ends[2] = {-1, -1};
};

bool blocked(int signo) {
  sigset_t mask;
  ::pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return ::sigismember(&mask, signo) == 1;
}

class EventLoopTest : public ::testing::Test {
 protected:
  /// A handler of any kind that adds `what` to the log.
  auto note(std::string what) {
    return [this, what](auto&&...) { log += what; };
  }
  /// Watches both pipes, both ready: whichever the kernel reports first gets its chance.
  void watchBoth(std::uint32_t events, const std::function<void(int mine, int other)>& handler) {
    const int a = pipe.out(), b = second.out();
    loop.fdIs(a, events, [=](std::uint32_t) { handler(a, b); });
    loop.fdIs(b, events, [=](std::uint32_t) { handler(b, a); });
    pipe.fill();
    second.fill();
  }
  void reuseNumber(bool tellTheLoop) {
    watchBoth(EPOLLIN, [=, this](int mine, int other) {
      if (tellTheLoop) loop.fdDel(other);
      ASSERT_EQ(::dup3(third.out(), other, O_CLOEXEC), other);  // closes it and reuses its number
      loop.fdIs(other, EPOLLIN, note("new"));
      loop.fdDel(mine);
      log += "first,";
    });
    EXPECT_EQ(loop.runUntilIdle(), 1U);
    EXPECT_EQ(log, "first,");
    third.fill();
    EXPECT_TRUE(loop.runOnce(0));
    EXPECT_EQ(log, "first,new");
  }

  TestClock clock{100};
  EventLoop loop{clock};
  Pipe pipe, second, third;
  std::string log;
};

TEST_F(EventLoopTest, WhatATurnPostsRunsInTheNextWhoeverPostedIt) {
  loop.turnEndIs(note("|"));
  loop.timers().timerIs(100, [this] {
    log += "t";
    loop.post(note("T"));
  });
  loop.fdIs(pipe.out(), EPOLLIN, [this](std::uint32_t events) {
    EXPECT_EQ(events, static_cast<std::uint32_t>(EPOLLIN));
    pipe.drain();
    log += "f";
    loop.post(note("F"));
  });
  pipe.fill();
  loop.post([this] {
    log += "a";
    loop.post(note("A"));
  });
  loop.post(note("b"));
  EXPECT_EQ(log, "");
  EXPECT_EQ(loop.runUntilIdle(), 7U);
  EXPECT_EQ(log, "abtf|ATF|");
  EXPECT_FALSE(loop.runOnce(0));
  EXPECT_EQ(log, "abtf|ATF|") << "a turn in which nothing ran has no end";
}

TEST_F(EventLoopTest, ThreadsPostInTheirOrderAndWakeTheLoop) {
  constexpr int each = 5000;
  int next[3] = {}, ended = 0;
  std::vector<std::thread> threads;
  for (int& mine : next)
    threads.emplace_back([&] {
      for (int i = 0; i < each; ++i)
        loop.postFromThread([&, i] {
          EXPECT_EQ(mine, i);
          if (++mine == each && ++ended == 3) loop.stop();
        });
    });
  loop.run();  // sleeps without limit, so a lost wake-up would hang here
  for (auto& one : threads) one.join();
  EXPECT_EQ(ended, 3);
}

TEST_F(EventLoopTest, TurnEndHandlersComeAndGoWhileTheyRun) {
  std::uint64_t last = 0, self = 0;
  self = loop.turnEndIs([&, text = std::string(100, 's')] {
    EXPECT_TRUE(loop.turnEndDel(self));
    EXPECT_FALSE(loop.turnEndDel(self));
    EXPECT_TRUE(loop.turnEndDel(last));
    loop.turnEndIs(note("n"));
    log += text.substr(0, 1);
  });
  loop.turnEndIs(note("m"));
  last = loop.turnEndIs(note("l"));
  for (int i = 0; i < 2; ++i) {
    loop.post(note("."));
    loop.runUntilIdle();
  }
  EXPECT_EQ(log, ".sm.mn");
}

TEST_F(EventLoopTest, ADescriptorRemovedInTheTurnGetsNothingMore) {
  watchBoth(EPOLLIN, [this, text = std::string(100, 'x')](int mine, int other) {
    EXPECT_TRUE(loop.fdDel(other));
    EXPECT_TRUE(loop.fdDel(mine));
    EXPECT_FALSE(loop.fdDel(mine));
    log += text.substr(0, 1);  // what the handler holds is still there
  });
  EXPECT_EQ(loop.runUntilIdle(), 1U);
  EXPECT_EQ(log, "x");
}

TEST_F(EventLoopTest, AReusedNumberGetsItsOwnEventsOnly) { reuseNumber(true); }
TEST_F(EventLoopTest, AlsoWhenItWasClosedBehindTheLoopsBack) { reuseNumber(false); }

TEST_F(EventLoopTest, EventsCanBeChangedAlsoWithinTheTurn) {
  watchBoth(EPOLLIN | EPOLLONESHOT, [this](int, int other) {
    loop.fdEventsIs(other, 0);
    log += "x";
  });
  EXPECT_EQ(loop.runUntilIdle(), 1U);
  loop.fdEventsIs(pipe.out(), EPOLLIN | EPOLLONESHOT);  // armed again
  EXPECT_EQ(loop.runUntilIdle(), 1U);
  EXPECT_EQ(log, "xx");
}

TEST_F(EventLoopTest, RefusesWhatCannotBeWatchedHandledOrRun) {
  const auto errorOf = [this](int fd) {
    try {
      loop.fdIs(fd, EPOLLIN, [](std::uint32_t) {});
    } catch (const std::system_error& e) {
      return e.code().value();
    }
    return 0;
  };
  const int file = ::open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(errorOf(file), EPERM);
  ::close(file);
  EXPECT_EQ(errorOf(file), EBADF);
  EXPECT_EQ(errorOf(-1), EBADF);
  EXPECT_FALSE(loop.fdDel(file));
  EXPECT_THROW(loop.fdEventsIs(pipe.out(), EPOLLIN), std::invalid_argument);
  EXPECT_THROW(loop.fdIs(pipe.out(), EPOLLIN, nullptr), std::invalid_argument);
  EXPECT_THROW(loop.post(nullptr), std::invalid_argument);
  EXPECT_THROW(loop.postFromThread(nullptr), std::invalid_argument);
  EXPECT_THROW(loop.turnEndIs(nullptr), std::invalid_argument);
  for (const int signo : {SIGKILL, SIGSTOP, 0, 1000})
    EXPECT_THROW(loop.signalIs(signo, [](int) {}), std::invalid_argument);
  EXPECT_THROW(loop.runOnce(std::nan("")), std::invalid_argument);
  TestClock another;
  EXPECT_THROW(loop.advance(another, 1), std::invalid_argument);
}

TEST_F(EventLoopTest, SignalsArriveInTheLoopAndTheMaskIsRestored) {
  ::sigset_t before;
  ::sigemptyset(&before);
  ::sigaddset(&before, SIGUSR2);
  ::pthread_sigmask(SIG_BLOCK, &before, nullptr);  // not the loop's to unblock
  {
    EventLoop inner;
    const auto take = [&](int signo) {
      log += signo == SIGUSR1 ? "1" : "2";
      if (signo == SIGUSR1) inner.signalDel(SIGUSR2);
    };
    inner.signalIs(SIGUSR1, [](int) { FAIL() << "replaced"; });
    for (const int signo : {SIGUSR1, SIGUSR2}) inner.signalIs(signo, take);
    ::raise(SIGUSR1);
    EXPECT_EQ(log, "");
    EXPECT_EQ(inner.runUntilIdle(), 1U);
    ::raise(SIGUSR2);  // nobody's now; stays pending
    ::raise(SIGUSR1);
    EXPECT_TRUE(inner.runOnce(EventLoop::forever));
    inner.signalIs(SIGUSR2, take);
    EXPECT_TRUE(inner.runOnce(EventLoop::forever));
    EXPECT_EQ(log, "112");
    EXPECT_TRUE(blocked(SIGUSR1));
  }
  EXPECT_FALSE(blocked(SIGUSR1));
  EXPECT_TRUE(blocked(SIGUSR2));
  ::pthread_sigmask(SIG_UNBLOCK, &before, nullptr);
}

TEST_F(EventLoopTest, ExceptionsAreCountedReportedAndSurvived) {
  const auto fail = [](auto&&...) { throw std::runtime_error("broken"); };
  loop.turnEndIs(fail);
  loop.fdIs(pipe.out(), EPOLLIN | EPOLLET, fail);
  const auto errorsOfATurn = [&] {
    loop.post(fail);
    loop.timers().timerIs(100, fail);
    pipe.fill();
    loop.post(note("a"));
    loop.timers().timerIs(100, note("b"));
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(loop.runUntilIdle(), 5U);
    return ::testing::internal::GetCapturedStderr();
  };
  EXPECT_NE(errorsOfATurn().find("broken"), std::string::npos);
  EXPECT_EQ(loop.handlerExceptions(), 4U);
  int told = 0;
  loop.exceptionHandlerIs([&](const std::exception_ptr&) { ++told; });
  EXPECT_EQ(errorsOfATurn(), "");
  EXPECT_EQ(told, 4);
  loop.exceptionHandlerIs([&](const std::exception_ptr&) { throw 1; });
  EXPECT_NE(errorsOfATurn().find("handler threw: an object"), std::string::npos);
  EXPECT_EQ(log, "ababab");
}

TEST_F(EventLoopTest, BusyLoopsAreBoundedAndRunningIsNotNested) {
  loop.post([this] { EXPECT_THROW(loop.runUntilIdle(), std::logic_error); });
  EXPECT_EQ(loop.runUntilIdle(1), 1U);
  std::function<void()> again = [&] { loop.post(again); };
  loop.post(again);
  EXPECT_THROW(loop.runUntilIdle(100), std::runtime_error);
  EXPECT_THROW(loop.advance(clock, 1, 100), std::runtime_error);
  EXPECT_TRUE(loop.runOnce(0)) << "and the loop is as usable as before";
}

TEST_F(EventLoopTest, AdvanceShowsEachHandlerItsOwnTime) {
  std::vector<double> times;
  Timer timer(loop.timers(), [&] {
    times.push_back(loop.now());
    if (times.size() < 5) timer.scheduleAfter(0.25);
  });
  timer.scheduleAt(100.5);
  loop.timers().timerDel(loop.timers().timerIs(100.4, note("cancelled")));
  loop.timers().timerIs(100.6, [&] { loop.post([&] { times.push_back(loop.now()); }); });
  EXPECT_EQ(loop.advance(clock, 1), 5U);
  EXPECT_EQ(times, (std::vector<double>{100.5, 100.6, 100.75, 101}));
  EXPECT_EQ(clock.now(), 101);
  EXPECT_EQ(log, "");
}

TEST_F(EventLoopTest, StopEndsTheRunAtTheEndOfTheTurn) {
  loop.turnEndIs(note("|"));
  loop.stop();
  loop.run();  // at once, but only this one
  EXPECT_EQ(log, "");
  loop.post([this] {
    loop.stop();
    loop.post(note("later"));
  });
  loop.post(note("a"));
  loop.run();
  EXPECT_EQ(log, "a|");
}

/// With the real clock: waits end at the timer, not before it, and without turning in between.
void expectExactWaits() {
  EventLoop loop;
  for (const double delay : {0.0003, 0.0021, 0.07}) {
    const double at = loop.now() + delay;
    bool ran = false;
    loop.timers().timerIs(at, [&] { ran = true; });
    int looks = 0;
    EXPECT_TRUE(loop.runUntil([&] { return ++looks, ran; }, 100));
    EXPECT_GE(loop.now(), at);
    EXPECT_LE(looks, 4);
  }
  EXPECT_FALSE(loop.runUntil([] { return false; }, 0.001));
  EXPECT_FALSE(loop.runUntil([] { return false; }, 0));
}

TEST(EventLoopRealTimeTest, WaitsAreExact) { expectExactWaits(); }

TEST(EventLoopRealTimeTest, WaitsAreExactOnKernelsWithoutThePreciseCall) {
  const auto onOldKernel = [] {
    sock_filter filter[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_epoll_pwait2, 0, 1),
                            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
                            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    const sock_fprog program{std::size(filter), filter};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
      std::exit(2);
    expectExactWaits();
    std::exit(::testing::Test::HasFailure() ? 1 : 0);
  };
  EXPECT_EXIT(onOldKernel(), ::testing::ExitedWithCode(0), "");
}

TEST(EventLoopRealTimeTest, SignalHandlersOfOthersDoNotCutAWaitShort) {
  static int alarms;
  static Pipe* written;
  Pipe pipe;
  alarms = 0;
  written = &pipe;
  struct sigaction action {
  }, before;
  action.sa_handler = [](int) {
    if (++alarms == 3) written->fill();
  };
  ::sigaction(SIGALRM, &action, &before);
  const itimerval often{{0, 500}, {0, 500}}, never{};
  EventLoop loop;
  loop.fdIs(pipe.out(), EPOLLIN, [&](std::uint32_t) { loop.fdDel(pipe.out()); });
  ::setitimer(ITIMER_REAL, &often, nullptr);
  EXPECT_TRUE(loop.runOnce(100));
  ::setitimer(ITIMER_REAL, &never, nullptr);
  ::sigaction(SIGALRM, &before, nullptr);
  EXPECT_GE(alarms, 3);
}

TEST(EventLoopLifeTest, HandlersThatCallTheLoopWhileItDiesAreSafe) {
  Pipe pipe;
  int died = 0;
  auto owned = std::make_unique<EventLoop>();
  EventLoop& loop = *owned;
  const auto onDeath = [&](const std::function<void()>& call) {
    return std::shared_ptr<void>(nullptr, [&died, call](void*) { ++died, call(); });
  };
  loop.post([own = onDeath([&] { loop.post([] {}); })] {});
  loop.postFromThread([own = onDeath([&] { loop.postFromThread([] {}); })] {});
  loop.turnEndIs([own = onDeath([&] { loop.turnEndDel(1); })] {});
  loop.fdIs(pipe.out(), EPOLLIN,
            [own = onDeath([&] { loop.fdDel(pipe.out()); })](std::uint32_t) {});
  loop.signalIs(SIGUSR1, [own = onDeath([&] { loop.signalDel(SIGUSR1); })](int) {});
  loop.timers().timerIs(1e9, [own = onDeath([&] { loop.post([] {}); })] {});
  loop.post([timer = std::make_shared<Timer>(loop.timers(), [] {})] {});
  owned.reset();
  EXPECT_EQ(died, 6);
  EXPECT_FALSE(blocked(SIGUSR1));
}

TEST(EventLoopDeathTest, IsNotDestroyedByItsOwnHandler) {
  const auto destroy = [] {
    auto loop = std::make_unique<EventLoop>();
    loop->post([&] { loop.reset(); });
    loop->runUntilIdle();
  };
  EXPECT_DEATH(destroy(), "an event loop was destroyed by one of its handlers");
}

}  // namespace
}  // namespace Kiln
