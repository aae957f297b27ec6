#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "platform/ringtrace/RingTrace.h"

namespace RingTrace {
namespace {

using namespace testing;

TEST(RingTraceDumpTest, ShowsTheLastMessages) {
  for (int i = 0; i < 5; ++i) record("line ", i, "\n\x1b");
  std::FILE* out = std::tmpfile();
  dump(fileno(out), 2);
  std::rewind(out);
  std::string text(1000, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), out));
  std::fclose(out);
  const std::string line = "#[0-9]+ [0-9]+\\.[0-9]{9} thread " + std::to_string(gettid());
  EXPECT_THAT(text, MatchesRegex("ring trace, oldest first:\n" + line + ": line 3\\?\\?\n" + line +
                                 ": line 4\\?\\?\nend of ring trace\n"));
}

/// Raises that signal after the ring was printed, if so, for an abort.
void fail(int number, bool printed) {
  record("the cause");
  if (printed) printOnAbort();
  raise(number);
}

/// Matches the ring printed once, with `last` as its last message.
auto printsOnce(const std::string& last) {
  return AllOf(HasSubstr("ring trace, oldest first:"), HasSubstr(last + "\nend of ring trace\n"),
               Not(ContainsRegex("oldest first(.|\n)*oldest first")));
}

TEST(RingTraceDeathTest, AbortsAndFatalSignalsPrintTheRingOnce) {
  EXPECT_EXIT(fail(SIGABRT, true), KilledBySignal(SIGABRT), printsOnce(": the cause"));
  const auto handled = [](int number, bool printed) {
    printOnFatalSignalIs(true);
    fail(number, printed);
  };
  EXPECT_EXIT(handled(SIGABRT, true), KilledBySignal(SIGABRT), printsOnce(": the cause"));
  for (const int number : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT}) {
    const std::string last = std::string(": fatal signal SIG") + sigabbrev_np(number);
    EXPECT_EXIT(handled(number, false), KilledBySignal(number), printsOnce(last));
  }
}

TEST(RingTraceDeathTest, FormerActionsComeBack) {
  const auto switchOffAndFail = [] {
    signal(SIGFPE, [](int) { _exit(7); });
    printOnFatalSignalIs(true);
    printOnFatalSignalIs(false);
    raise(SIGFPE);
  };
  EXPECT_EXIT(switchOffAndFail(), ExitedWithCode(7), "^$");
}

}  // namespace
}  // namespace RingTrace
