#include "platform/kiln/EventLoop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/time.h>

#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

namespace Kiln {
namespace {

/// A descriptor that is ready once it is filled.
struct Event {
  Event() = default;
  ~Event() { ::close(fd); }
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  void fill() const { EXPECT_EQ(::eventfd_write(fd, 1), 0); }

  const int fd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
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
  /// Watches two, both ready: whichever the kernel reports first gets its chance.
  void watchBoth(std::uint32_t events, const std::function<void(int mine, int other)>& handler) {
    loop.fdIs(first.fd, events, [=, this](std::uint32_t) { handler(first.fd, second.fd); });
    loop.fdIs(second.fd, events, [=, this](std::uint32_t) { handler(second.fd, first.fd); });
    first.fill();
    second.fill();
  }
  void reuseNumber(bool tellTheLoop) {
    watchBoth(EPOLLIN, [=, this](int mine, int other) {
      if (tellTheLoop) loop.fdDel(other);
      ASSERT_EQ(::dup3(third.fd, other, O_CLOEXEC), other);  // closes it and reuses its number
      loop.fdIs(other, EPOLLIN, note("new"));
      loop.fdDel(mine);
      log += "first,";
    });
    EXPECT_EQ(loop.runUntilIdle(), 1U);
    third.fill();
    EXPECT_TRUE(loop.runOnce(0));
    EXPECT_EQ(log, "first,new");
  }

  TestClock clock{100};
  EventLoop loop{clock};
  Event first, second, third;
  std::string log;
};

TEST_F(EventLoopTest, WhatATurnPostsRunsInTheNextWhoeverPostedIt) {
  const auto noteAndPost = [this](std::string what, std::string posted) {
    return [=, this](auto&&...) { log += what, loop.post(note(posted)); };
  };
  loop.turnEndIs(note("|"));
  loop.timers().timerIs(100, noteAndPost("t", "T"));
  loop.fdIs(first.fd, EPOLLIN | EPOLLET, noteAndPost("f", "F"));
  first.fill();
  loop.post(noteAndPost("a", "A"));
  loop.post(note("b"));
  EXPECT_EQ(log, "");
  EXPECT_EQ(loop.runUntilIdle(), 7U);
  EXPECT_FALSE(loop.runOnce(0)) << "a turn in which nothing runs has no end";
  EXPECT_EQ(log, "abtf|ATF|");
  loop.stop();
  loop.run();  // at once, but only this one
  loop.post([this] { loop.stop(), loop.post(note("later")); });
  loop.post(note("c"));
  loop.run();
  EXPECT_EQ(log, "abtf|ATF|c|");
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
}

TEST_F(EventLoopTest, TurnEndHandlersComeAndGoWhileTheyRun) {
  std::uint64_t last = 0, self = 0;
  self = loop.turnEndIs([&, text = std::string(100, 's')] {
    EXPECT_TRUE(loop.turnEndDel(self));
    EXPECT_FALSE(loop.turnEndDel(self));
    EXPECT_TRUE(loop.turnEndDel(last));
    loop.turnEndIs(note("n"));
    log += text.substr(0, 1);  // what the handler holds is still there
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
    log += text.substr(0, 1);
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
  loop.fdEventsIs(first.fd, EPOLLIN | EPOLLONESHOT);  // armed again
  EXPECT_EQ(loop.runUntilIdle(), 1U);
  EXPECT_EQ(log, "xx");
}

TEST_F(EventLoopTest, RefusesWhatCannotBeWatchedHandledOrRun) {
  const int file = ::open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
  for (const int fd : {file, -1}) EXPECT_THROW(loop.fdIs(fd, 0, note("")), std::system_error);
  EXPECT_FALSE(loop.fdDel(file));
  ::close(file);
  for (const int signo : {SIGKILL, SIGSTOP, 0, 1000})
    EXPECT_THROW(loop.signalIs(signo, note("")), std::invalid_argument);
  EXPECT_THROW(loop.fdEventsIs(first.fd, EPOLLIN), std::invalid_argument);
  EXPECT_THROW(loop.fdIs(first.fd, EPOLLIN, nullptr), std::invalid_argument);
  EXPECT_THROW(loop.post(nullptr), std::invalid_argument);
  EXPECT_THROW(loop.postFromThread(nullptr), std::invalid_argument);
  EXPECT_THROW(loop.turnEndIs(nullptr), std::invalid_argument);
  EXPECT_THROW(loop.runOnce(std::nan("")), std::invalid_argument);
  TestClock another;
  EXPECT_THROW(loop.advance(another, 1), std::invalid_argument);

  loop.post([this] { EXPECT_THROW(loop.runUntilIdle(), std::logic_error); });
  EXPECT_EQ(loop.runUntilIdle(1), 1U);
  std::function<void()> again = [&] { loop.post(again); };
  loop.post(again);
  EXPECT_THROW(loop.runUntilIdle(100), std::runtime_error);
  EXPECT_TRUE(loop.runOnce(0)) << "and the loop is as usable as before";
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
    inner.signalIs(SIGUSR1, note("replaced"));
    for (const int signo : {SIGUSR1, SIGUSR2}) inner.signalIs(signo, take);
    for (const int signo : {SIGUSR1, SIGUSR2}) ::raise(signo);
    EXPECT_EQ(log, "");
    EXPECT_EQ(inner.runUntilIdle(), 1U);
    ::raise(SIGUSR2);  // nobody's now; stays pending
    inner.signalIs(SIGUSR2, take);
    EXPECT_TRUE(inner.runOnce(EventLoop::forever));
    EXPECT_EQ(log, "12");
    EXPECT_TRUE(blocked(SIGUSR1));
  }
  EXPECT_FALSE(blocked(SIGUSR1));
  EXPECT_TRUE(blocked(SIGUSR2));
  ::pthread_sigmask(SIG_UNBLOCK, &before, nullptr);
}

TEST_F(EventLoopTest, ExceptionsAreCountedReportedAndSurvived) {
  const auto fail = [](auto&&...) { throw std::runtime_error("broken"); };
  loop.turnEndIs(fail);
  loop.fdIs(first.fd, EPOLLIN | EPOLLET, fail);
  const auto errorsOfATurn = [&] {
    loop.post(fail);
    loop.timers().timerIs(100, fail);
    first.fill();
    loop.post(note("a"));
    loop.timers().timerIs(100, note("b"));
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(loop.runUntilIdle(), 5U);
    return ::testing::internal::GetCapturedStderr();
  };
  EXPECT_NE(errorsOfATurn().find("broken"), std::string::npos);
  EXPECT_EQ(loop.handlerExceptions(), 4U);
  loop.exceptionHandlerIs(note("!"));
  EXPECT_EQ(errorsOfATurn(), "");
  loop.exceptionHandlerIs([](const std::exception_ptr&) { throw 1; });
  EXPECT_NE(errorsOfATurn().find("handler threw: an object"), std::string::npos);
  EXPECT_EQ(log, "ab!a!b!!ab");
}

TEST_F(EventLoopTest, AdvanceShowsEachHandlerItsOwnTime) {
  std::vector<double> times;
  const auto noteTime = [&] { times.push_back(loop.now()); };
  Timer timer(loop.timers(), [&] {
    noteTime();
    if (times.size() < 5) timer.scheduleAfter(0.25);
  });
  timer.scheduleAt(100.5);
  loop.timers().timerDel(loop.timers().timerIs(100.4, note("cancelled")));
  loop.timers().timerIs(100.6, [&] { loop.post(noteTime); });
  EXPECT_EQ(loop.advance(clock, 1), 5U);
  EXPECT_EQ(times, (std::vector<double>{100.5, 100.6, 100.75, 101}));
  EXPECT_EQ(clock.now(), 101);
  EXPECT_EQ(log, "");
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
  for (const double timeout : {0.001, 0.0})
    EXPECT_FALSE(loop.runUntil([] { return false; }, timeout));
}

/// From now on the kernel of this process is one that does not know the call.
bool forbid(unsigned call) {
  sock_filter filter[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                          BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog program{std::size(filter), filter};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(EventLoopDeathTest, WaitsAreExactAlsoBetweenAlarmsAndOnOldKernels) {
  expectExactWaits();
  const auto elsewhere = [] {
    ::signal(SIGALRM, [](int) {});
    const itimerval often{{0, 500}, {0, 500}};
    ::setitimer(ITIMER_REAL, &often, nullptr);
    expectExactWaits();
    EXPECT_TRUE(forbid(SYS_epoll_pwait2));
    expectExactWaits();
    std::exit(::testing::Test::HasFailure() ? 1 : 0);
  };
  EXPECT_EXIT(elsewhere(), ::testing::ExitedWithCode(0), "");
}

TEST(EventLoopDeathTest, DiesSafelyWithHandlersThatCallItButNotInsideOne) {
  Event event;
  int died = 0;
  auto loop = std::make_unique<EventLoop>();
  const auto onDeath = [&died](const std::function<void()>& call) {
    const std::shared_ptr<void> own(nullptr, [&died, call](void*) { ++died, call(); });
    return [own](auto&&...) {};
  };
  loop->post(onDeath([&to = *loop] { to.post([] {}); }));
  loop->postFromThread(onDeath([&to = *loop] { to.postFromThread([] {}); }));
  loop->turnEndIs(onDeath([&to = *loop] { to.turnEndDel(1); }));
  loop->fdIs(event.fd, EPOLLIN, onDeath([&to = *loop, &event] { to.fdDel(event.fd); }));
  loop->signalIs(SIGUSR1, onDeath([&to = *loop] { to.signalDel(SIGUSR1); }));
  loop->timers().timerIs(1e9, onDeath([&to = *loop] { to.post([] {}); }));
  loop->post([timer = std::make_shared<Timer>(loop->timers(), [] {})] {});
  loop.reset();
  EXPECT_EQ(died, 6);
  EXPECT_FALSE(blocked(SIGUSR1));

  const auto destroyInside = [&loop] {
    loop = std::make_unique<EventLoop>();
    loop->post([&] { loop.reset(); });
    loop->runUntilIdle();
  };
  EXPECT_DEATH(destroyInside(), "an event loop was destroyed by one of its handlers");
}

}  // namespace
}  // namespace Kiln
