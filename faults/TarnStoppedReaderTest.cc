// A reader that is stopped after any instruction of a lookup, while the writer goes on: whatever
// that does meanwhile, the lookup then ends with a row that was there at some time between its two
// ends, and never without one of a key that was there all the time.
#include "faults/TarnStepping.h"

#ifndef TARN_STEP_INSTRUMENTED

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iostream>
#include <memory>
#include <random>

#include "faults/TarnRows.h"
#include "platform/tarn/DirectoryStorage.h"
#include "tests/platform/tarn/Folder.h"

namespace TarnFaults {
namespace {

using Tarn::TableReader;

constexpr Kind kind{tinyGeometry, 160, false};
constexpr Key stable = 40;  // keys below are overwritten, and never removed

/// What parent and child tell each other.
struct Exchange {
  explicit Exchange(const Ledger& ledger) : wanted(ledger[0].begun), found(ledger[0].done) {}
  std::atomic<Version>& wanted;  ///< the key to look up
  std::atomic<Version>& found;   ///< the version that was found
};

/// Looks up keys; stops before each lookup and after it.
void lookUp(const std::string& path, const Exchange& exchange) {
  ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  const auto storage = Tarn::directoryStorageFactory(path);
  TableReader reader(*storage, shapeOf(kind), TableReader::Follow::no, nullptr);
  for (;;) {
    reader.refresh(TableReader::Look::everywhere, nullptr);
    for (Key key = 0; key < kind.keys; ++key) versionIn(reader.view(), key, false);
    static_cast<void>(::raise(SIGSTOP));
    const Key key = exchange.wanted.load();
    const Tarn::Record found = reader.view().find<sizeof key>(bytesOf(key));
    exchange.found.store(versionOf(found, key, false));
    static_cast<void>(::raise(SIGSTOP));
  }
}

class StoppedReaderTest : public testing::Test {
 protected:
  StoppedReaderTest() {
    for (Key key = 0; key < stable; ++key) ledger.put(writer, key, false);
    child = Tarn::forkMortal();
    if (child == 0) lookUp(folder.path, exchange);
    EXPECT_EQ(stopped(), SIGSTOP);
  }
  ~StoppedReaderTest() override {
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
  }
  /// The signal that stopped the child; 0 when it is no more.
  int stopped() const {
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFSTOPPED(status) ? WSTOPSIG(status) : 0;
  }
  void goOn() const { ::ptrace(PTRACE_CONT, child, nullptr, nullptr); }
  /// Whether the lookup was at its end before so many instructions.
  bool step(std::uint64_t instructions) {
    for (; instructions > 0; --instructions) {
      ::ptrace(PTRACE_SINGLESTEP, child, nullptr, nullptr);
      if (const int signal = stopped(); signal != SIGTRAP) return true;
      ++steps;
    }
    return false;
  }
  /// Writes until pages are split, filled anew and used again, rows moved and segments removed.
  void write() {
    const std::size_t writes = random() % 2 == 0 ? random() % 400 : random() % 8;
    for (std::size_t i = 0; i < writes; ++i) {
      const Key key = random() % kind.keys;
      if (key < stable || random() % 2 == 0) ledger.put(writer, key, false);
      else ledger.remove(writer, key);
    }
  }

  const OneProcessor one;
  const Tarn::Folder folder;
  const Ledger ledger{kind.keys};
  const Ledger shared{1};
  const Exchange exchange{shared};
  const std::unique_ptr<Tarn::Storage> storage = Tarn::directoryStorageFactory(folder.path, {});
  Tarn::TableWriter writer{*storage, shapeOf(kind), 1, nullptr};
  std::mt19937 random{1};
  pid_t child = 0;
  std::uint64_t steps = 0;
};

TEST_F(StoppedReaderTest, ALookupMayStopAnywhereWhileTheWriterGoesOn) {
  std::uint64_t lookups = 0;
  for (int round = 0; round < 12; ++round) {
    bool ended = false;
    for (std::uint64_t at = 0; !ended && !HasFailure(); ++at, ++lookups) {
      const Key key = random() % stable;
      exchange.wanted.store(key);
      std::string problem = ledger.check(key, [&] {
        ended = step(at);
        write();
        if (!ended) {
          goOn();
          EXPECT_EQ(stopped(), SIGSTOP);
        }
        return exchange.found.load();
      });
      EXPECT_EQ(problem, "") << "stopped after " << at << " instructions";
      goOn();
      EXPECT_EQ(stopped(), SIGSTOP) << "it is no more";
    }
  }
  EXPECT_FALSE(ledger.common().hasProblem.load()) << ledger.common().problem;
  std::cout << "simulated " << lookups << " lookups, each stopped after another instruction, "
            << steps << " steps, while " << ledger.common().writes.load() << " rows were written"
            << std::endl;
}

}  // namespace
}  // namespace TarnFaults

#endif  // TARN_STEP_INSTRUMENTED
