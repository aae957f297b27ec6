// Writers of a table in shared memory that are killed at any moment, while this process reads.
//
// MPLS_KILLS says how many times on tables of up to 10,000 rows, MPLS_BIG_KILLS on one of a
// million, MPLS_DIRECTORY_KILLS with lock, socket and doorbell; MPLS_KILL_SEED where chance begins.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <random>

#include "faults/TarnRows.h"
#include "platform/kiln/EventLoop.h"
#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/ReaderDirectory.h"
#include "platform/tarn/WriterDirectory.h"
#include "tests/platform/tarn/Folder.h"

namespace TarnFaults {
namespace {

using Tarn::TableReader;
using Clock = std::chrono::steady_clock;
using Look = TableReader::Look;

std::uint64_t fromEnvironment(const char* name, std::uint64_t otherwise) {
  const char* const text = std::getenv(name);
  return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

// ---- Writing ------------------------------------------------------------------------------------

/// What a writer does until it is killed.
class Work {
 public:
  Work(const Kind& kind, const Ledger& ledger, std::uint64_t seed)
      : kind_(kind), ledger_(ledger), random_(seed) {}

  void step(Tarn::TableWriter& writer) {
    const std::size_t kind = random_() % 1000;
    if (kind < 500) put(writer);
    else if (kind < 950) remove(writer);
    else if (kind < 970) writer.turn();
    else if (kind < 980) grow(writer);
    else if (kind < 990) shrink(writer);
    else if (kind < 990 + std::size_t{2700} / (300 + kind_.keys)) {
      writer.renew();
      ledger_.common().renewals.fetch_add(1);
    }
  }
  void put(Tarn::TableWriter& writer) { ledger_.put(writer, key(), kind_.fixedSize); }
  void remove(Tarn::TableWriter& writer) { ledger_.remove(writer, key()); }
  Tarn::Report report() {
    return [this](const std::string& text) { ledger_.problemIs("the writer: " + text); };
  }

 private:
  Key key() { return random_() % ledger_.keys(); }
  void grow(Tarn::TableWriter& writer) {
    for (std::size_t n = random_() % ledger_.keys(); n > 0; --n) put(writer);
  }
  void shrink(Tarn::TableWriter& writer) {
    for (std::size_t n = random_() % ledger_.keys(); n > 0; --n) remove(writer);
  }

  const Kind kind_;
  const Ledger& ledger_;
  std::mt19937_64 random_;
};

/// The life of a writer without lock and socket: it takes the table over, looks at every row of it,
/// and writes.
void live(const std::string& path, const Kind& kind, const Ledger& ledger, std::uint64_t seed,
          bool fills) {
  Work work(kind, ledger, seed);
  const auto storage = Tarn::directoryStorageFactory(path, {});
  Tarn::TableWriter writer(*storage, shapeOf(kind), 1, work.report());
  if (const std::string problem = ledger.settle(writer, kind.fixedSize); !problem.empty())
    return ledger.problemIs(problem);
  for (Key key = 0; fills && key < ledger.keys(); ++key) ledger.put(writer, key, kind.fixedSize);
  ledger.common().ready.store(true, std::memory_order_release);
  while (!ledger.common().hasProblem.load(std::memory_order_acquire)) work.step(writer);
}

/// A process that does `life` until it is killed.
class Writer {
 public:
  template <class Life>
  Writer(const Ledger& ledger, Life life) : ledger_(ledger) {
    ledger_.common().ready.store(false, std::memory_order_release);
    pid_ = Tarn::forkMortal();
    if (pid_ != 0) return;
    try {
      life();
    } catch (const std::exception& e) {
      ledger_.problemIs(std::string("the writer raised ") + e.what());
    }
    ::_exit(1);
  }
  ~Writer() {
    int status = 0;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, &status, 0);
    const bool ended = !WIFSIGNALED(status) || WTERMSIG(status) != SIGKILL;
    if (ended) ledger_.problemIs("the writer ended by itself, status " + std::to_string(status));
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  bool isReady() const { return ledger_.common().ready.load(std::memory_order_acquire); }

 private:
  const Ledger& ledger_;
  pid_t pid_;
};

// ---- Reading ------------------------------------------------------------------------------------

/// A reader, and what it was told.
class Witness {
 public:
  Witness(const std::string& path, const Kind& kind, const Ledger& ledger,
          TableReader::Follow follow)
      : kind_(kind),
        ledger_(ledger),
        follows_(follow == TableReader::Follow::yes),
        storage_(Tarn::directoryStorageFactory(path)),
        reader_(*storage_, shapeOf(kind), follow, [this](const std::string& text) { hear(text); }),
        told_(ledger.keys()),
        seen_(ledger.keys()) {
    if (kind.isImpatient) reader_.passLimitIs(2);
  }

  void refresh(Look look) {
    Tarn::KeyList keys;
    reader_.refresh(look, &keys);
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const Key key = Tarn::load64(keys[i]);
      told_[key] = told(key);
      if (told_[key] > ledger_[key].begun.load()) fail("was told a row that nobody has put");
    }
    notifications += keys.size();
  }
  /// One key, as it is just now.
  void read(Key key) {
    ++reads;
    std::string problem;
    do {
      if (reader_.isAttached()) problem = ledger_.check(key, [&] { return version(key); });
      // Rows of a generation that was given up stand still.
    } while (isBehind());
    if (!problem.empty()) fail(problem);
    const Version found = version(key);
    if (found != 0 && found < std::exchange(seen_[key], found)) fail("went back: " + problem);
  }
  /// While nobody writes: every key, and that it was told what it finds.
  void readAll() {
    refresh(Look::everywhere);
    for (Key key = 0; key < ledger_.keys(); ++key) {
      read(key);
      if (follows_ && (told_[key] != version(key) || told_[key] != told(key)))
        fail("key " + std::to_string(key) + " was last told at " + std::to_string(told_[key]) +
             ", and is at " + std::to_string(version(key)));
    }
  }

  std::uint64_t reads = 0;
  std::uint64_t notifications = 0;

 private:
  Version version(Key key) const { return versionIn(reader_.view(), key, kind_.fixedSize); }
  Version told(Key key) const { return versionIn(reader_.told(), key, kind_.fixedSize); }
  /// Whether another generation has taken the place of the one that was read.
  bool isBehind() {
    if (!reader_.isAttached() || reader_.view().state().retired.load() == 0) return false;
    const std::uint64_t generation = reader_.view().fixed().generation;
    refresh(Look::counted);
    return reader_.view().fixed().generation != generation;
  }
  void hear(const std::string& text) {
    if (text.find("rows.head: No such file") == std::string::npos) fail("report: " + text);
  }
  void fail(const std::string& text) { ledger_.problemIs("the reader: " + text); }

  const Kind kind_;
  const Ledger& ledger_;
  const bool follows_;
  const std::unique_ptr<Tarn::Storage> storage_;
  TableReader reader_;
  std::vector<Version> told_;
  std::vector<Version> seen_;
};

// ---- Runs ---------------------------------------------------------------------------------------

struct Totals {
  std::uint64_t kills = 0, early = 0, tables = 0, adoptions = 0, writes = 0, renewals = 0;
  std::uint64_t reads = 0, notifications = 0;
  void print(const char* what) const {
    std::cout << "simulated " << kills << " kills " << what << ", " << early
              << " of them before the table was taken over: " << tables << " tables, " << adoptions
              << " recoveries verified, " << writes << " writes, " << renewals << " renewals; "
              << reads << " reads by a live reader, " << notifications << " keys told" << std::endl;
  }
};

/// Kills the writers of one table, one after the other. `longest` is how many microseconds each may
/// live, once it is ready or from its start.
bool killAtOneTable(const Kind& kind, std::uint64_t kills, std::uint64_t longest,
                    std::mt19937_64& random, Totals* totals) {
  const Tarn::Folder folder;
  const Ledger ledger(kind.keys);
  Witness witness(folder.path, kind, ledger, TableReader::Follow::yes);
  Witness other(folder.path, kind, ledger, TableReader::Follow::no);
  const auto hasProblem = [&] { return ledger.common().hasProblem.load(); };
  for (std::uint64_t kill = 0; kill < kills && !hasProblem(); ++kill) {
    const bool fills = kill == 0 && random() % 4 != 0;
    const bool waits = fills || random() % 3 == 0;
    {
      const std::uint64_t seed = random();
      const Writer writer(ledger, [&] { live(folder.path, kind, ledger, seed, fills); });
      const std::chrono::microseconds time(random() % longest);
      auto until = Clock::now() + time;
      for (bool isReady = !waits; Clock::now() < until || !isReady;) {
        if (!isReady && (writer.isReady() || hasProblem())) {
          isReady = true;
          until = Clock::now() + time;
        }
        Witness& one = random() % 4 == 0 ? other : witness;
        if (random() % 4 == 0) one.refresh(random() % 16 == 0 ? Look::everywhere : Look::counted);
        for (int i = 0; i < 8; ++i) one.read(random() % kind.keys);
      }
      totals->early += writer.isReady() ? 0 : 1;
    }
    witness.readAll();
    if (random() % 4 == 0) other.readAll();
    else other.refresh(Look::everywhere);
    if (random() % 8 == 0) Witness(folder.path, kind, ledger, TableReader::Follow::yes).readAll();
    ++totals->kills;
  }
  ++totals->tables;
  const Ledger::Common& common = ledger.common();
  totals->adoptions += common.adoptions.load();
  totals->writes += common.writes.load();
  totals->renewals += common.renewals.load();
  totals->reads += witness.reads + other.reads;
  totals->notifications += witness.notifications;
  EXPECT_FALSE(hasProblem()) << common.problem << "\nafter " << totals->kills << " kills; "
                             << kind.keys << " keys in pages of " << kind.geometry.pageWords
                             << (kind.fixedSize ? ", rows of one size" : "");
  return !hasProblem();
}

TEST(TarnKillTest, AKilledWriterLosesTearsAndDoublesNothing) {
  const std::uint64_t kills = fromEnvironment("MPLS_KILLS", 2000);
  std::mt19937_64 random(fromEnvironment("MPLS_KILL_SEED", std::random_device{}()));
  constexpr Tarn::Geometry middling{64, 16, 4096, 65536};
  constexpr std::size_t sizes[] = {10, 60, 60, 300, 300, 300, 1000, 10000};
  Totals totals;
  while (totals.kills < kills) {
    const std::size_t choice = random() % 4;
    const Kind kind{choice < 2    ? tinyGeometry
                    : choice == 2 ? middling
                                  : Tarn::Geometry{},
                    sizes[random() % std::size(sizes)], random() % 2 == 0, random() % 4 == 0};
    const std::uint64_t here = std::min<std::uint64_t>(kills - totals.kills, 40);
    const std::uint64_t longest = random() % 16 == 0 ? 6000 : 700;
    if (!killAtOneTable(kind, here, longest, random, &totals)) break;
  }
  totals.print("at tables of up to 10,000 rows");
}

TEST(TarnKillTest, AMillionRowsSurviveAsWell) {
  const std::uint64_t kills = fromEnvironment("MPLS_BIG_KILLS", 3);
  std::mt19937_64 random(fromEnvironment("MPLS_KILL_SEED", std::random_device{}()));
  Totals totals;
  if (kills != 0) killAtOneTable({{}, 1'000'000, true}, kills, 500'000, random, &totals);
  totals.print("at a table of 1,000,000 rows");
}

// ---- With lock, socket and doorbell -------------------------------------------------------------

void liveInDirectory(const std::string& path, const Kind& kind, const Ledger& ledger,
                     std::uint64_t seed) {
  Work work(kind, ledger, seed);
  Kiln::EventLoop loop;
  Tarn::WriterDirectory directory(loop, {path, "", "", 0755, "fault run"}, work.report());
  const auto table = directory.table(shapeOf(kind), 1);
  if (const std::string problem = ledger.settle(*table->get(), kind.fixedSize); !problem.empty())
    return ledger.problemIs(problem);
  ledger.common().ready.store(true, std::memory_order_release);
  while (!ledger.common().hasProblem.load(std::memory_order_acquire)) {
    loop.post([&] { work.step(*table->get()); });
    loop.runOnce(0);
  }
}

/// Follows a directory as an agent does.
class Subscriber : public Tarn::TableListener {
 public:
  Subscriber(const std::string& path, const Kind& kind, const Ledger& ledger)
      : kind_(kind),
        ledger_(ledger),
        told_(ledger.keys()),
        directory_(loop, path, [this](const std::string& text) { hear(text); }),
        table_(directory_.table(shapeOf(kind), this)) {}
  bool isListening() const override { return true; }
  void changed(const std::byte* bytes) override {
    const Key key = Tarn::load64(bytes);
    told_[key] = versionIn(table_->get()->told(), key, kind_.fixedSize);
    ++notifications;
  }
  bool hasWriter() const { return directory_.writer().isThere; }
  /// What it was told is what there is, while nobody writes.
  void checkAll() {
    loop.runUntilIdle();
    for (Key key = 0; key < ledger_.keys(); ++key) {
      std::string problem = ledger_.check(key, [&] { return version(key); });
      if (problem.empty() && told_[key] != version(key))
        problem = "key " + std::to_string(key) + " was last told at " + std::to_string(told_[key]) +
                  ", and is at " + std::to_string(version(key));
      if (!problem.empty()) ledger_.problemIs("the subscriber: " + problem);
    }
  }

  Kiln::EventLoop loop;
  std::uint64_t notifications = 0;

 private:
  Version version(Key key) const { return versionIn(table_->get()->view(), key, kind_.fixedSize); }
  void hear(const std::string& text) {
    if (text.find("No such file") == std::string::npos)
      ledger_.problemIs("the subscriber: report: " + text);
  }

  const Kind kind_;
  const Ledger& ledger_;
  std::vector<Version> told_;
  Tarn::ReaderDirectory directory_;
  std::unique_ptr<Tarn::ReaderHandle> table_;
};

TEST(TarnKillTest, SubscribersHearOfEveryWriterThatGoesAndComes) {
  const std::uint64_t kills = fromEnvironment("MPLS_DIRECTORY_KILLS", 100);
  constexpr double patience = 60;  // seconds; only a run that fails takes as long
  std::mt19937_64 random(fromEnvironment("MPLS_KILL_SEED", std::random_device{}()));
  Totals totals;
  const Tarn::Folder folder;
  const Kind kind{tinyGeometry, 200, false};
  const Ledger ledger(kind.keys);
  Subscriber subscriber(folder / "rows", kind, ledger);
  const auto hasProblem = [&] { return ledger.common().hasProblem.load(); };
  for (; totals.kills < kills && !hasProblem(); ++totals.kills) {
    {
      const std::uint64_t seed = random();
      const Writer writer(ledger, [&] { liveInDirectory(folder / "rows", kind, ledger, seed); });
      const bool waits = random() % 2 == 0;
      EXPECT_TRUE(subscriber.loop.runUntil(
          [&] { return !waits || (writer.isReady() && subscriber.hasWriter()) || hasProblem(); },
          patience));
      const auto until = Clock::now() + std::chrono::microseconds(random() % 3000);
      while (Clock::now() < until) subscriber.loop.runOnce(0);
      totals.early += writer.isReady() ? 0 : 1;
    }
    EXPECT_TRUE(subscriber.loop.runUntil([&] { return !subscriber.hasWriter(); }, patience));
    subscriber.checkAll();
  }
  totals.tables = 1;
  totals.adoptions = ledger.common().adoptions.load();
  totals.writes = ledger.common().writes.load();
  totals.renewals = ledger.common().renewals.load();
  totals.notifications = subscriber.notifications;
  totals.print("of writers of a directory");
  EXPECT_FALSE(hasProblem()) << ledger.common().problem << "\nafter " << totals.kills << " kills";
}

}  // namespace
}  // namespace TarnFaults
