#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "platform/ringtrace/RingTrace.h"

namespace RingTrace {
namespace {

TEST(RingTraceDumpTest, ShowsTheLastMessages) {
  for (int i = 0; i < 5; ++i) record("line ", i, "\n\x1b");
  std::FILE* out = std::tmpfile();
  dump(fileno(out), 2);
  std::rewind(out);
  std::string text(1000, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), out));
  std::fclose(out);
  EXPECT_TRUE(text.starts_with("ring trace, oldest first:\n#")) << text;
  EXPECT_TRUE(text.ends_with(": line 4??\nend of ring trace\n")) << text;
  EXPECT_EQ(text.find("line 2"), std::string::npos) << text;
  EXPECT_NE(text.find(" thread " + std::to_string(gettid()) + ": line 3??\n"), std::string::npos);
}

/// Matches output with the trace in it once, ending in `last`.
testing::Matcher<const std::string&> printsOnce(const std::string& last) {
  return testing::ResultOf(
      [last](const std::string& text) {
        const std::string begin = "ring trace, oldest first:";
        const std::size_t at = text.find(begin);
        return at != std::string::npos && text.find(begin, at + 1) == std::string::npos &&
               text.find(": " + last + "\nend of ring trace\n", at) != std::string::npos;
      },
      true);
}

TEST(RingTraceDeathTest, AbortPrintsTheRingOnce) {
  const auto fail = [] {
    record("the cause");
    printOnAbort();
    std::abort();
  };
  EXPECT_EXIT(fail(), testing::KilledBySignal(SIGABRT), printsOnce("the cause"));
  const auto failHandled = [&fail] {
    printOnFatalSignalIs(true);
    fail();
  };
  EXPECT_EXIT(failHandled(), testing::KilledBySignal(SIGABRT), printsOnce("the cause"));
}

TEST(RingTraceDeathTest, FatalSignalsPrintTheRingAndKill) {
  const std::map<int, std::string> names{{SIGSEGV, "SIGSEGV"},
                                         {SIGBUS, "SIGBUS"},
                                         {SIGILL, "SIGILL"},
                                         {SIGFPE, "SIGFPE"},
                                         {SIGABRT, "SIGABRT"}};
  for (const auto& [number, name] : names) {
    const auto fail = [number = number] {
      printOnFatalSignalIs(true);
      raise(number);
    };
    EXPECT_EXIT(fail(), testing::KilledBySignal(number), printsOnce("fatal signal " + name));
  }
}

TEST(RingTraceDeathTest, FormerActionsComeBack) {
  const auto switchOffAndFail = [] {
    signal(SIGFPE, [](int) { _exit(7); });
    printOnFatalSignalIs(true);
    printOnFatalSignalIs(false);
    raise(SIGFPE);
  };
  EXPECT_EXIT(switchOffAndFail(), testing::ExitedWithCode(7), "^$");
}

}  // namespace
}  // namespace RingTrace
