// A writer that is stopped after every instruction. Wherever that instruction changed a byte of the
// table, or which files there are, the table must be right as it stands: for a reader that has been
// there all the time, for one that comes now, and for the next writer.
#include "faults/TarnStepping.h"

#ifndef TARN_STEP_INSTRUMENTED

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <random>

#include "faults/TarnRows.h"
#include "platform/tarn/DirectoryStorage.h"
#include "tests/platform/tarn/Folder.h"

namespace TarnFaults {
namespace {

using Tarn::Folder;
using Tarn::TableReader;
using Look = TableReader::Look;

// ---- The writer ---------------------------------------------------------------------------------

/// What the writer does, in a process that is stepped through it.
class Script {
 public:
  Script(const std::string& path, const Kind& kind, const Ledger& ledger)
      : path_(path), kind_(kind), ledger_(ledger) {}

  void attach(const char* what) {
    during(what, [this] {
      storage_ = Tarn::directoryStorageFactory(path_, {});
      writer_.emplace(*storage_, shapeOf(kind_), 1,
                      [this](const std::string& text) { ledger_.problemIs(text); });
    });
    if (const std::string problem = ledger_.settle(*writer_, kind_.fixedSize); !problem.empty())
      ledger_.problemIs(problem);
  }
  void put(Key key) {
    during(isPut(ledger_[key].done.load()) ? "update" : "insert",
           [&] { ledger_.put(*writer_, key, kind_.fixedSize); });
  }
  void remove(Key key) {
    during("delete", [&] { ledger_.remove(*writer_, key); });
  }
  void renew() {
    during("renewal", [this] { writer_->renew(); });
  }
  void detach() {
    during("detach", [this] { writer_.reset(); });
  }
  /// Writes at random; half of the keys come and go again.
  void write(int writes, unsigned seed) {
    std::mt19937 random(seed);
    for (int i = 0; i < writes; ++i) {
      const Key key = random() % ledger_.keys();
      if (random() % 3 != 0) put(key);
      else remove(key);
    }
  }

 private:
  /// The parent is stopped at both ends of `act`, and told what goes on in between.
  template <class Act>
  void during(const char* what, Act act) {
    ledger_.common().doing.store(what);
    static_cast<void>(::raise(SIGSTOP));
    act();
    ledger_.common().doing.store(nullptr);
    static_cast<void>(::raise(SIGSTOP));
  }

  const std::string path_;
  const Kind kind_;
  const Ledger& ledger_;
  std::unique_ptr<Tarn::Storage> storage_;
  std::optional<Tarn::TableWriter> writer_;
};

// ---- Readers ------------------------------------------------------------------------------------

/// A reader, and what it was told.
class Witness {
 public:
  Witness(const std::string& path, const Kind& kind, const Ledger& ledger)
      : kind_(kind),
        ledger_(ledger),
        storage_(Tarn::directoryStorageFactory(path)),
        reader_(*storage_, shapeOf(kind), TableReader::Follow::yes,
                [this](const std::string& text) {
                  if (text.find("rows.head: No such file") == std::string::npos)
                    problem_ = "report: " + text;
                }),
        told_(ledger.keys()) {}

  /// What is wrong with what it sees now; empty when nothing is.
  std::string look(Look look) {
    Tarn::KeyList keys;
    reader_.refresh(look, &keys);
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const Key key = Tarn::load64(keys[i]);
      told_[key] = versionIn(reader_.told(), key, kind_.fixedSize);
    }
    for (Key key = 0; key < ledger_.keys() && problem_.empty(); ++key)
      if (reader_.isAttached()) problem_ = ledger_.check(key, [&] { return version(key); });
    return problem_;
  }
  /// The same when nobody writes any more.
  std::string lookAtEnd(Look how) {
    look(how);
    for (Key key = 0; key < ledger_.keys() && problem_.empty(); ++key)
      if (told_[key] != version(key))
        problem_ = "key " + std::to_string(key) + " was last told at " +
                   std::to_string(told_[key]) + ", and is at " + std::to_string(version(key));
    return problem_;
  }

 private:
  Version version(Key key) const { return versionIn(reader_.view(), key, kind_.fixedSize); }

  const Kind kind_;
  const Ledger& ledger_;
  const std::unique_ptr<Tarn::Storage> storage_;
  TableReader reader_;
  std::vector<Version> told_;
  std::string problem_;
};

// ---- Stepping -----------------------------------------------------------------------------------

/// A table in the midst of something, for a writer to be stepped through its recovery.
struct Wreck {
  Wreck(const Files& files, const Ledger& then) : ledger(then.keys()) {
    files.copyTo(folder.path);
    ledger.copyFrom(then);
  }
  Folder folder;
  Ledger ledger;
};

/// How far the runs went.
struct Totals {
  struct Count {
    std::uint64_t times = 0, instructions = 0, points = 0;
  };
  std::map<std::string, Count> operations;
  std::uint64_t splits = 0, doublings = 0, rolls = 0, removals = 0;
  void print() const {
    Count all;
    for (const auto& [what, count] : operations) {
      std::cout << "simulated " << what << ": " << count.times << " times, " << count.instructions
                << " instructions stepped, " << count.points << " points examined\n";
      all.instructions += count.instructions;
      all.points += count.points;
    }
    std::cout << "simulated a stop after each of " << all.instructions
              << " instructions, reader and recovery at each of " << all.points << " points; "
              << splits << " splits or refills, " << doublings << " directories doubled, " << rolls
              << " segments begun, " << removals << " removed" << std::endl;
  }
};

class Stepper {
 public:
  Stepper(const std::string& path, const Kind& kind, const Ledger& ledger, Totals* totals)
      : kind_(kind), ledger_(ledger), totals_(totals), files_(path), live_(path, kind, ledger) {}

  /// Steps through what `script` does in a child; what is wrong then, empty when nothing is.
  template <class Script>
  std::string run(Script script) {
    const pid_t child = Tarn::forkMortal();
    if (child == 0) {
      ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
      try {
        script();
      } catch (const std::exception& e) {
        ledger_.problemIs(std::string("raised ") + e.what());
      }
      ::_exit(0);
    }
    follow(child);
    if (ledger_.common().hasProblem.load()) problemIs(ledger_.common().problem);
    return problem_;
  }
  /// Tables in the midst of a change of the index, of cleaning and of renewal.
  std::vector<std::unique_ptr<Wreck>> wrecks;

 private:
  void follow(pid_t child) {
    int status = 0;
    bool steps = false;
    while (::waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
      if (WSTOPSIG(status) == SIGTRAP) step();
      else if (WSTOPSIG(status) == SIGSTOP) steps = turn();
      else problemIs("signal " + std::to_string(WSTOPSIG(status)));
      if (!problem_.empty()) ::kill(child, SIGKILL);
      ::ptrace(steps ? PTRACE_SINGLESTEP : PTRACE_CONT, child, nullptr, nullptr);
    }
  }
  /// At either end of an operation; whether it begins.
  bool turn() {
    instruction_ = 0;
    if (const char* doing = ledger_.common().doing.load()) {
      doing_ = doing;
      operation_ = &totals_->operations[doing_];
      ++operation_->times;
      return true;
    }
    if (operation_ != nullptr) {
      if (files_.look()) examine();
      problemIs(live_.lookAtEnd(Look::counted));
      countEvents();
    }
    operation_ = nullptr;
    return false;
  }
  void step() {
    ++instruction_;
    ++operation_->instructions;
    if (files_.look()) examine();
  }
  void problemIs(const std::string& text) {
    if (!text.empty() && problem_.empty())
      problem_ = doing_ + ", instruction " + std::to_string(instruction_) + ": " + text;
  }

  void examine() {
    ++operation_->points;
    problemIs(live_.look(operation_->points % 16 == 0 ? Look::everywhere : Look::counted));
    files_.copyTo(copy_.path);
    Witness late(copy_.path, kind_, ledger_);
    problemIs("comes: ", late.look(Look::counted));
    problemIs("recovery: ", recover());
    keepWreck();
  }
  void problemIs(const char* who, const std::string& text) {
    if (!text.empty()) problemIs(who + text);
  }
  /// The next writer takes the copy over, and writes.
  std::string recover() {
    std::string problem;
    const auto storage = Tarn::directoryStorageFactory(copy_.path, {});
    try {
      Tarn::TableWriter writer(*storage, shapeOf(kind_), 1,
                               [&](const std::string& text) { problem = text; });
      if (problem.empty()) problem = ledger_.compare(writer, kind_.fixedSize);
      const Key key = operation_->points % ledger_.keys();
      const Row row(key, 99, kind_.fixedSize);
      writer.put(row.bytes(), row.size());
      if (versionIn(writer.view(), key, kind_.fixedSize) != 99) problem = "does not write";
      if (!writer.remove(bytesOf(key)) || writer.remove(bytesOf(key))) problem = "is there twice";
      if (operation_->points % 8 == 0) writer.renew();
      if (problem.empty() && writer.verify() != 0) problem = "is damaged after a write";
    } catch (const std::exception& e) {
      problem = std::string("raised ") + e.what();
    }
    return problem;
  }

  void keepWreck() {
    const Tarn::HeadState* state = files_.state();
    if (state == nullptr) return;
    const bool isChanging = state->intent.load() != 0;
    const bool isRenewed = files_.count(".dir") > 1 && doing_ == "renewal";
    const bool isDoubled = files_.count(".dir") > 1 && doing_ != "renewal";
    const bool isCleaning = files_.count(".seg") > 3 && doing_ != "renewal";
    const bool kinds[] = {isChanging, isRenewed, isDoubled, isCleaning};
    for (std::size_t i = 0; i < std::size(kinds); ++i)
      if (kinds[i] && !kind_.fixedSize && ++met_[i] == 10)
        wrecks.push_back(std::make_unique<Wreck>(files_, ledger_));
  }
  void countEvents() {
    const Tarn::HeadState* state = files_.state();
    if (state == nullptr) return;
    const auto count = [](const Tarn::SharedWord& now, std::uint64_t* before,
                          std::uint64_t* total) {
      const std::uint64_t value = now.load();
      if (value > *before) *total += value - *before;
      *before = value;
    };
    count(state->structure, &structure_, &totals_->splits);
    count(state->directory, &depth_, &totals_->doublings);
    count(state->nextSegment, &segment_, &totals_->rolls);
    count(state->segmentsRemoved, &removed_, &totals_->removals);
  }

  const Kind kind_;
  const Ledger& ledger_;
  Totals* const totals_;
  Files files_;
  Witness live_;
  const Folder copy_;
  std::string doing_;
  Totals::Count* operation_ = nullptr;
  std::uint64_t instruction_ = 0;
  std::string problem_;
  std::array<int, 4> met_{};
  std::uint64_t structure_ = 0, depth_ = 0, segment_ = 0, removed_ = 0;
};

TEST(TarnStepTest, EachInstructionOfAWriterLeavesATableThatIsRight) {
  const OneProcessor one;
  Totals totals;
  for (const bool fixedSize : {false, true}) {
    const Kind kind{tinyGeometry, 40, fixedSize};
    const Folder folder;
    const Ledger ledger(kind.keys);
    Stepper stepper(folder.path, kind, ledger, &totals);
    const std::string problem = stepper.run([&] {
      Script script(folder.path, kind, ledger);
      script.attach("creation");
      script.write(fixedSize ? 60 : 100, 1);
      script.renew();
      script.write(10, 2);
      script.detach();
      script.attach("attach");
      script.write(10, 3);
    });
    ASSERT_EQ(problem, "");
    for (const auto& wreck : stepper.wrecks) {
      Stepper rescue(wreck->folder.path, kind, wreck->ledger, &totals);
      const std::string failure = rescue.run([&] {
        Script script(wreck->folder.path, kind, wreck->ledger);
        script.attach("attach after death");
        script.write(2, 4);
      });
      ASSERT_EQ(failure, "");
    }
  }
  totals.print();
  for (const char* what :
       {"creation", "insert", "update", "delete", "renewal", "attach", "attach after death"})
    EXPECT_GT(totals.operations[what].points, 0U) << what;
  EXPECT_GT(totals.splits, 10U);
  EXPECT_GT(totals.doublings, 2U);
  EXPECT_GT(totals.rolls, 6U);
  EXPECT_GT(totals.removals, 0U);
}

}  // namespace
}  // namespace TarnFaults

#endif  // TARN_STEP_INSTRUMENTED
