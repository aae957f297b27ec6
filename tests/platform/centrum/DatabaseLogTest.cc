#include "platform/centrum/DatabaseLog.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "tests/platform/centrum/DatabaseModel.h"
#include "tests/support/Checks.h"

namespace {

using Centrum::DatabaseLog;
using Centrum::LogFile;
using namespace DatabaseModel;

/// What is left of a log when the server is killed.
struct Disk {
  std::string content;
  std::string bad;
  bool full = false;
};

class DiskLog : public LogFile {
 public:
  explicit DiskLog(Disk& disk) : disk_(disk) {}
  std::string content() override { return disk_.content; }
  void append(std::string_view bytes) override {
    disk_.content += bytes.substr(0, disk_.full ? bytes.size() / 2 : bytes.size());
    check();
  }
  void contentIs(std::string_view bytes) override {
    check();
    disk_.content = bytes;
  }
  void remove() override { disk_.content.clear(); }
  void setAside() override { disk_.bad = std::exchange(disk_.content, {}); }
  std::string name() const override { return "disk.log"; }

 private:
  void check() const {
    if (disk_.full) throw std::system_error(ENOSPC, std::generic_category(), "disk.log");
  }
  Disk& disk_;
};

/// A server as far as database and log go.
struct Server {
  explicit Server(Disk& disk, Centrum::Epoch fresh)
      : log(std::make_unique<DiskLog>(disk)), database(log.load(fresh)) {}

  Path& make(const std::string& name) {
    Path* path = database->find(name);
    if (path != nullptr) return *path;
    path = &database->make(name, "Test::Type", 5);
    log.made(*path);
    return *path;
  }
  void apply(const std::string& name, std::string_view records, bool renew = false) {
    Path& path = make(name);
    database->apply(path, records, renew, 9, database->sequence());
    log.applied(path, records, renew);
  }

  DatabaseLog log;
  std::unique_ptr<Database> database;
};

std::string put(std::string_view key, std::string_view value) {
  std::string out;
  Forma::appendRecord(out, {LogOp::put, 1, key, value});
  return out;
}

/// A server is killed time and again, at times while it writes; a reader goes on each time where
/// it was.
TEST(DatabaseLogModelTest, AKilledServerForgetsNothingThatItTold) {
  for (unsigned seed = 1; seed <= 10; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    Disk disk;
    auto server = std::make_unique<Server>(disk, 77);
    server->make("dir/model");
    server->log.commit(*server->database);
    Truth truth;
    Reader reader(*server->database, *server->database->find("dir/model"), truth);
    for (int step = 0; step < 200; ++step) {
      std::map<Sequence, Truth> truths;  // by the sequence of the path, within this turn
      const std::string old = disk.content;
      const Sequence before = server->database->sequence();
      truths[server->make("dir/model").sequence()] = truth;
      for (int n = 1 + below(random, 3); n > 0; --n) {
        std::string records;
        appendChanges(random, records);
        const bool renew = below(random, 10) == 0;
        truth.apply(records, renew, server->database->sequence() + 1);
        server->apply("dir/model", records, renew);
        truths[server->make("dir/model").sequence()] = truth;
      }
      if (below(random, 5) == 0) server->apply("dir/other", put("k", std::to_string(step)));
      if (below(random, 10) == 0) {
        Path& other = server->make("dir/other");
        server->log.removed(other);
        server->database->remove(other);
      }
      // Not to be logged, but counted.
      if (below(random, 10) == 0) server->database->make("own" + std::to_string(step), "T", 1);
      const Sequence reached = server->database->sequence();
      const bool kept = server->database->find("dir/other") != nullptr;
      server->log.commit(*server->database);
      bool told = true;
      if (below(random, 8) == 0) {  // a kill
        if (below(random, 2) == 0 && disk.content.starts_with(old)) {
          disk.content.resize(old.size() + random() % (disk.content.size() - old.size()));
          told = false;
        }
        reader.detach();
        server = std::make_unique<Server>(disk, 1);
        EXPECT_EQ(server->database->epoch(), 77U);
        EXPECT_TRUE(server->log.notice().empty() || !told);
        const Sequence now = server->database->sequence();
        EXPECT_TRUE(told ? now == reached : now >= before && now <= reached);
        EXPECT_TRUE(!told || kept == (server->database->find("dir/other") != nullptr));
        Path& path = *server->database->find("dir/model");
        ASSERT_TRUE(truths.contains(path.sequence()));
        truth = truths[path.sequence()];
        EXPECT_EQ(path.liveCells(), truth.root.cells());
        EXPECT_EQ(path.writer(), 9U);
        reader.attach(*server->database, path);
      }
      if (told) reader.readSome(random);
      if (testing::Test::HasFailure()) return;
    }
    reader.readAll(random);
    EXPECT_LT(reader.snapshots(), 40);
    reader.detach();
  }
}

TEST(DatabaseLogTest, GoesOnWithoutALogWhileItCannotBeWritten) {
  Disk disk;
  Server server(disk, 77);
  server.apply("a", put("k", "1"));
  server.log.commit(*server.database);
  disk.full = true;
  server.apply("a", put("k", "2"));
  server.log.commit(*server.database);
  EXPECT_EQ(server.log.problem(), "disk.log: No space left on device");
  EXPECT_EQ(disk.content, "");
  int commits = 0;
  for (; !server.log.problem().empty(); ++commits) {
    server.apply("a", put("k", std::to_string(commits)));
    server.log.commit(*server.database);
    disk.full = commits == 0;
    ASSERT_LT(commits, 2000);
  }
  EXPECT_GT(commits, 500);
  EXPECT_EQ(Server(disk, 1).database->sequence(), server.database->sequence());
}

TEST(DatabaseLogTest, IsAtMostTwiceAsLargeAsWhatThereIs) {
  Disk disk;
  const std::string large(DatabaseLog::leastSize / 20, 'x');
  for (int start = 0; start < 10; ++start) {
    Server server(disk, 77);
    EXPECT_EQ(server.database->sequence(), start == 0 ? 0U : 1U + 10U * unsigned(start));
    for (int i = 0; i < 10; ++i) {
      server.apply("a", put("k", large + char('0' + (start + i) % 10)));
      server.log.commit(*server.database);
      EXPECT_EQ(server.log.size(), disk.content.size());
      EXPECT_LE(disk.content.size(), DatabaseLog::leastSize * 11 / 10);
    }
  }
}

TEST(DatabaseLogTest, KnowsWhatItForgot) {
  Disk disk;
  Server server(disk, 77);
  std::string records;
  for (std::size_t i = 0; i <= Database::tombstonesKept; ++i) records += put(std::to_string(i), "");
  server.apply("a", records);
  const Sequence full = server.database->sequence();
  server.apply("a", {}, true);
  server.log.commit(*server.database);
  const Server again(disk, 1);
  for (const Server* one : {&std::as_const(server), &again}) {
    Path& path = *one->database->find("a");
    EXPECT_EQ(path.deadCells(), Database::tombstonesKept);
    Centrum::Cursor cursor(path);
    EXPECT_FALSE(cursor.toSequence(full));
    EXPECT_TRUE(cursor.toSequence(full + 1));
  }
}

TEST(DatabaseLogTest, WhatIsDamagedIsSetAside) {
  Disk disk;
  Server server(disk, 77);
  for (const char* key : {"k", "l"}) {
    server.apply("dir/a", put(key, "1"));
    server.log.commit(*server.database);
  }
  for (std::size_t at = 0; at < disk.content.size(); ++at) {
    Disk damaged = disk;
    damaged.content[at] = static_cast<char>(damaged.content[at] ^ 0x10);
    Server started(damaged, 1);
    EXPECT_EQ(started.database->epoch(), 1U) << at;
    EXPECT_EQ(damaged.bad.size(), disk.content.size());
    EXPECT_THAT(started.log.notice(), testing::HasSubstr("set aside"));
  }
}

TEST(DatabaseLogTest, LivesInAFileOfItsOwner) {
  std::string dir = std::filesystem::temp_directory_path() / "centrum-log-XXXXXX";
  ASSERT_NE(::mkdtemp(dir.data()), nullptr);
  const std::string name = dir + "/log";
  for (int start = 0; start < 4; ++start) {
    DatabaseLog log(Centrum::fileLogFactory(name));
    const auto database = log.load(100 + static_cast<Centrum::Epoch>(start));
    EXPECT_EQ(database->epoch(), start < 3 ? 100U : 103U);
    EXPECT_EQ(log.notice().empty(), start < 3) << log.notice();
    for (int i = 0; i < 3; ++i) {
      Path& path = database->make("a" + std::to_string(start) + std::to_string(i), "T", 1);
      log.made(path);
      log.commit(*database);
    }
    EXPECT_EQ(log.problem(), "");
    EXPECT_EQ(database->root().liveCells(), start < 3 ? 3U * unsigned(start + 1) : 3U);
    EXPECT_EQ(std::filesystem::file_size(name), log.size());
    struct stat status {};
    ASSERT_EQ(::stat(name.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    if (start == 2) std::ofstream(name) << "something else";
  }
  EXPECT_EQ(std::filesystem::file_size(name + ".bad"), 14U);
  DatabaseLog lost(Centrum::fileLogFactory(dir + "/none/log"));
  const auto database = lost.load(1);
  lost.made(database->make("a", "T", 1));
  lost.commit(*database);
  EXPECT_THAT(lost.problem(), testing::HasSubstr(dir + "/none/log"));
  std::filesystem::remove_all(dir);
}

}  // namespace
