#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <system_error>

#include "platform/kiln/UnixSocket.h"
#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/ReaderDirectory.h"
#include "platform/tarn/WriterDirectory.h"
#include "tests/platform/tarn/Folder.h"
#include "tests/support/Checks.h"

namespace Tarn {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

constexpr double patience = 20;  // seconds of real time; only a test that fails takes as long

struct Row {
  std::uint64_t key = 0;
  std::uint64_t value = 0;
  const std::byte* bytes() const { return reinterpret_cast<const std::byte*>(this); }
};

TableShape shape(const std::string& name = "rows") {
  TableShape made;
  made.name = name;
  made.schemaText = "key value";
  made.schemaHash = 7;
  made.keyBytes = 8;
  made.rowBytes = made.maxRowBytes = sizeof(Row);
  made.geometry.firstSegmentBytes = 4096;
  return made;
}

void put(WriterHandle& table, std::uint64_t key, std::uint64_t value) {
  table.get()->put(Row{key, value}.bytes(), sizeof(Row));
}

/// What is told of a table: how often of each key.
struct Told : TableListener {
  bool isListening() const override { return listens; }
  void changed(const std::byte* key) override {
    Row row;
    std::memcpy(&row.key, key, sizeof row.key);
    ++keys[row.key];
    if (then) then();
  }
  std::map<std::uint64_t, int> take() { return std::exchange(keys, {}); }

  bool listens = true;
  std::map<std::uint64_t, int> keys;
  std::function<void()> then;
};

/// The value of a row; 0 when there is none.
std::uint64_t valueOf(const ReaderHandle& table, std::uint64_t key) {
  const Record found = table.get()->view().find<8>(Row{key, 0}.bytes());
  Row row;
  if (found) std::memcpy(&row, found.row, sizeof row);
  return row.value;
}

/// Another process, which does `work` when the test says so, and is killed at the end.
class Other {
 public:
  /// `work` gets what tells the test that it has come so far, which waits until the test goes on.
  explicit Other(const std::function<void(const std::function<void()>& pause)>& work) {
    int pair[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    pid_ = forkMortal();
    if (pid_ == 0) {
      ::close(pair[0]);
      try {
        work([&] {
          char byte = 0;
          if (::write(pair[1], &byte, 1) != 1 || ::read(pair[1], &byte, 1) != 1) ::_exit(9);
        });
      } catch (const std::exception& e) {
        ADD_FAILURE() << e.what();
      }
      ::_exit(testing::Test::HasFailure() ? 1 : 0);
    }
    ::close(pair[1]);
    socket_ = Kiln::Fd(pair[0]);
  }
  ~Other() { kill(); }
  Other(const Other&) = delete;
  Other& operator=(const Other&) = delete;

  pid_t pid() const { return pid_; }
  void awaitPause() const {
    char byte = 0;
    EXPECT_EQ(::read(socket_.get(), &byte, 1), 1);
  }
  void goOn() const { EXPECT_EQ(::write(socket_.get(), "", 1), 1); }
  /// Its exit status.
  int end() {
    int status = -1;
    ::waitpid(std::exchange(pid_, 0), &status, 0);
    return status;
  }
  void kill() {
    if (pid_ == 0) return;
    ::kill(pid_, SIGKILL);
    end();
  }

 private:
  pid_t pid_ = 0;
  Kiln::Fd socket_;
};

/// Counts rings and answers, and can lose them.
struct CountedCalls : SystemCalls {
  CountedCalls() { currentIs(*this); }
  ~CountedCalls() override { currentIs(real()); }
  ssize_t send(int fd, const void* bytes, std::size_t size) override {
    ++sent;
    return loses ? static_cast<ssize_t>(size) : SystemCalls::send(fd, bytes, size);
  }
  int sent = 0;
  bool loses = false;
};

class DirectoryTest : public testing::Test {
 protected:
  std::unique_ptr<WriterDirectory> write(Kiln::EventLoop& on, mode_t mode = 0755) {
    WriterDirectory::Options options;
    options.path = path;
    options.mode = mode;
    options.agent = "lfib writer";
    return std::make_unique<WriterDirectory>(on, options, report());
  }
  std::unique_ptr<ReaderDirectory> read(Kiln::EventLoop& on) {
    auto made = std::make_unique<ReaderDirectory>(on, path, report());
    made->onWriterIs([this, reader = made.get()] {
      events.push_back((reader->writer().isThere ? "came " : "went ") +
                       std::to_string(reader->writer().comes));
    });
    return made;
  }
  Report report() {
    return [this](const std::string& text) { reports.push_back(text); };
  }
  std::string refusal() {
    return Checks::raised<std::system_error>([&] { write(loop, 0700); });
  }
  mode_t modeOf(const std::string& name) const {
    struct stat file {};
    EXPECT_EQ(::stat((path + name).c_str(), &file), 0) << path << name;
    return file.st_mode & 07777;
  }
  /// A writer that publishes rows `first` to `last` and then waits to be killed.
  std::unique_ptr<Other> writer(const std::function<void(WriterHandle&)>& change) {
    auto other = std::make_unique<Other>([&](const auto& pause) {
      Kiln::EventLoop own;
      const auto directory = write(own);
      const auto table = directory->table(shape(), 100);
      change(*table);
      directory->ring();
      ::fork();  // a child that lives on for a while must not keep readers waiting
      pause();
    });
    return other;
  }

  Folder folder;
  std::string path = folder / "lfib";
  Kiln::TestClock clock;
  Kiln::EventLoop loop{clock};
  std::vector<std::string> reports;
  std::vector<std::string> events;
  Told told;
};

TEST_F(DirectoryTest, OneProcessWritesAndItsChildrenHaveNoPartInIt) {
  auto first = write(loop);
  auto table = first->table(shape(), 10);
  const auto reader = read(loop);
  loop.runUntilIdle();
  const std::string pid = std::to_string(::getpid());
  EXPECT_THAT(refusal(), HasSubstr(path + " is written by this process, PID " + pid +
                                   " (lfib writer, started 0 s ago): Address already in use"));
  const auto refusedElsewhere = [&] {
    inChild([&] {
      EXPECT_THAT(refusal(),
                  HasSubstr(path + " is written by PID " + pid + " (lfib writer, start"));
      EXPECT_EQ(Checks::raised<std::system_error>([&] { first->table(shape("more"), 10); }),
                path + " belongs to the process that forked this one: Operation not permitted");
      first->ring();
      first.reset();
      table.reset();
    });
  };
  refusedElsewhere();
  refusedElsewhere();
  EXPECT_EQ(modeOf(""), 0755U) << "changed by one who was refused";
  EXPECT_EQ(Checks::raised<std::system_error>([&] { first->table(shape(), 10); }),
            path + ": table rows is open here already: File exists");

  loop.runUntilIdle();
  EXPECT_EQ(first->readers(), 1U);
  EXPECT_EQ(reader->writer().pid, ::getpid());
  EXPECT_EQ(reader->writer().agent, "lfib writer");
  EXPECT_EQ(modeOf("/writer.sock"), 0666U);
  EXPECT_EQ(modeOf("/writer.lock"), 0600U);
  first.reset();
  EXPECT_EQ(table->get(), nullptr);
  EXPECT_FALSE(fs::exists(path + "/writer.sock"));
  inChild([&] { write(loop, 0750); });
  EXPECT_EQ(modeOf(""), 0750U);
  EXPECT_EQ(modeOf("/writer.info"), 0640U);
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(DirectoryTest, AReaderMayComeBeforeItsDirectoryIsThere) {
  path = folder / std::string(120, 'x') + "/deep/lfib";  // no socket can have such a path
  const auto reader = read(loop);
  const auto rows = reader->table(shape(), &told);
  const auto silent = reader->table(shape("late"), nullptr);
  loop.advance(clock, 3);
  EXPECT_THAT(reports, ElementsAre(HasSubstr(path + ": No such file or directory")));
  EXPECT_THAT(rows->get()->problem(), HasSubstr("No such file"));

  auto writer = write(loop);
  auto written = writer->table(shape(), 10);
  for (std::uint64_t key = 1; key <= 3; ++key) put(*written, key, key * 10);
  loop.runUntilIdle();  // no time passes: inotify and the doorbell tell
  EXPECT_THAT(events, ElementsAre("came 1"));
  EXPECT_THAT(told.take(), ElementsAre(Pair(1, 1), Pair(2, 1), Pair(3, 1)));
  put(*written, 2, 5);
  put(*written, 2, 6);
  written->get()->remove(Row{3, 0}.bytes());
  const auto late = writer->table(shape("late"), 10);
  put(*late, 9, 90);
  loop.post([] {});
  loop.runUntilIdle();
  EXPECT_THAT(told.take(), ElementsAre(Pair(2, 1), Pair(3, 1)));
  EXPECT_EQ(valueOf(*rows, 2), 6U);
  EXPECT_EQ(valueOf(*rows, 3), 0U);
  EXPECT_EQ(valueOf(*silent, 9), 90U);

  put(*written, 4, 40);
  written.reset();  // what it wrote last is told
  loop.post([] {});
  loop.runUntilIdle();
  EXPECT_THAT(told.take(), ElementsAre(Pair(4, 1)));
  clock.advance(100);
  writer.reset();
  loop.runUntilIdle();
  EXPECT_THAT(events, ElementsAre("came 1", "went 1"));
  EXPECT_EQ(reader->writer().since, clock.now());
  const auto later = read(loop)->table(shape(), &told);
  EXPECT_EQ(later->get(), nullptr) << "went with its directory";
  EXPECT_THAT(told.take(), ElementsAre(Pair(1, 1), Pair(2, 1), Pair(4, 1)))
      << "rows outlive writers";
  EXPECT_THAT(reports, ElementsAre(testing::_, HasSubstr("late.head"))) << "each once";
}

TEST_F(DirectoryTest, AfterAKilledWriterReadersHearOfRealDifferencesOnly) {
  auto other = writer([](WriterHandle& table) {
    for (std::uint64_t key = 1; key <= 100; ++key) put(table, key, key);
  });
  other->awaitPause();
  const auto reader = read(loop);
  const auto rows = reader->table(shape(), &told);
  EXPECT_EQ(told.take().size(), 100U);
  loop.runUntilIdle();
  EXPECT_EQ(reader->writer().pid, other->pid());
  for (std::uint64_t run = 1; run <= 3; ++run) {
    other->kill();
    EXPECT_TRUE(loop.runUntil([&] { return !reader->writer().isThere; }, patience));
    EXPECT_EQ(valueOf(*rows, 50), 50U);
    other = writer([run](WriterHandle& table) {
      put(table, 5, 1000 + run);
      put(table, 100 + run, 1);
      table.get()->remove(Row{6 + run, 0}.bytes());
    });
    other->awaitPause();
    EXPECT_TRUE(loop.runUntil([&] { return reader->writer().isThere; }, patience));
    loop.runUntilIdle();
    EXPECT_THAT(told.take(), ElementsAre(Pair(5, 1), Pair(6 + run, 1), Pair(100 + run, 1)));
    EXPECT_EQ(valueOf(*rows, 5), 1000 + run);
  }
  EXPECT_THAT(events,
              ElementsAre("came 1", "went 1", "came 2", "went 2", "came 3", "went 3", "came 4"));
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(DirectoryTest, AStoppedReaderCostsOneRingAndALostRingCostsTime) {
  const auto writer = write(loop);
  const auto written = writer->table(shape(), 10);
  Kiln::EventLoop stopped(clock);
  const auto reader = read(stopped);
  const auto rows = reader->table(shape(), &told);
  stopped.runUntilIdle();
  loop.runUntilIdle();
  stopped.runUntilIdle();
  loop.runUntilIdle();
  CountedCalls calls;
  const auto change = [&](std::uint64_t key) {
    put(*written, key, 1);
    loop.post([] {});
    loop.runUntilIdle();
  };
  for (std::uint64_t turn = 1; turn <= 100; ++turn) change(turn % 10);
  EXPECT_EQ(calls.sent, 1);
  stopped.runUntilIdle();
  EXPECT_EQ(told.take().size(), 10U);
  EXPECT_EQ(calls.sent, 2) << "one answer";
  loop.runUntilIdle();
  EXPECT_EQ(calls.sent, 3) << "it may have missed what came after the ring";
  stopped.runUntilIdle();
  loop.runUntilIdle();
  EXPECT_EQ(calls.sent, 4) << "there is no more to tell";

  calls.loses = true;
  change(1);
  calls.loses = false;
  change(2);
  stopped.runUntilIdle();
  EXPECT_THAT(told.take(), IsEmpty());
  stopped.advance(clock, 5);
  EXPECT_THAT(told.take(), ElementsAre(Pair(1, 1), Pair(2, 1)));
  loop.runUntilIdle();
  change(3);
  stopped.runUntilIdle();
  EXPECT_THAT(told.take(), ElementsAre(Pair(3, 1))) << "rung again";

  const auto late = read(stopped);
  stopped.runUntilIdle();
  for (const std::uint64_t key : {4U, 5U, 6U}) {  // the writer's loop does not run any more
    put(*written, key, 2);
    writer->ring();
    stopped.runUntilIdle();
    EXPECT_THAT(told.take(), ElementsAre(Pair(key, 1)));
  }
  EXPECT_EQ(writer->readers(), 2U);
}

TEST_F(DirectoryTest, AThousandReadersThatDieLeaveNothingBehind) {
  const auto writer = write(loop);
  const auto written = writer->table(shape(), 10);
  const auto files = [&] { return std::distance(fs::directory_iterator(path), {}); };
  const auto descriptors = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), {});
  };
  loop.runUntilIdle();
  put(*written, 1, 1);
  const auto before = std::pair(files(), descriptors());
  for (int round = 0; round < 5; ++round) {
    std::vector<std::unique_ptr<Other>> readers;
    for (int process = 0; process < 2; ++process)
      readers.push_back(std::make_unique<Other>([&](const auto& pause) {
        Kiln::EventLoop own;
        const auto reader = read(own);
        reader->look();
        std::vector<Kiln::Fd> more(99);
        for (Kiln::Fd& one : more) {
          one = Kiln::unixSocket();
          EXPECT_EQ(Kiln::connectUnix(one, Kiln::unixAddress(path + "/writer.sock")), 0);
        }
        pause();
      }));
    for (const auto& one : readers) one->awaitPause();
    EXPECT_TRUE(loop.runUntil([&] { return writer->readers() == 200; }, patience));
    put(*written, 1, 1);
    writer->ring();
    readers.clear();
    put(*written, 1, 2);
    writer->ring();
    EXPECT_TRUE(loop.runUntil([&] { return writer->readers() == 0; }, patience));
  }
  EXPECT_EQ(std::pair(files(), descriptors()), before);
  EXPECT_EQ(loop.handlerExceptions(), 0U);
}

TEST_F(DirectoryTest, WhoIsToldMayDoAnything) {
  const auto writer = write(loop);
  const auto written = writer->table(shape(), 10);
  const auto others = writer->table(shape("others"), 10);
  loop.exceptionHandlerIs([](const auto&) {});
  std::unique_ptr<ReaderDirectory> reader;
  std::vector<std::unique_ptr<ReaderHandle>> tables;
  Told second;
  const std::vector<std::function<void()>> acts = {
      [&] { tables[0].reset(); },
      [&] { tables[1].reset(); },
      [&] { reader.reset(); },
      [&] { tables.clear(); },
      [&] { reader->look(); },
      [&] { throw std::runtime_error("told"); },
      [&] { tables.push_back(reader->table(shape("others"), nullptr)); },
  };
  for (std::size_t act = 0; act < 2 * acts.size(); ++act) {
    SCOPED_TRACE(act);
    const bool asWriterComes = act >= acts.size();
    const auto once = [&, isDone = std::make_shared<bool>(false)] {
      if (!std::exchange(*isDone, true)) acts[act % acts.size()]();
    };
    reader = read(loop);
    tables.push_back(reader->table(shape(), &told));
    tables.push_back(reader->table(shape("others"), &second));
    if (asWriterComes) reader->onWriterIs(once);
    else loop.runUntilIdle();
    told.take();
    second.take();
    told.then = second.then = asWriterComes ? std::function<void()>() : once;
    for (const auto& table : {written.get(), others.get()})
      for (std::uint64_t key = 1; key <= 3; ++key) put(*table, key, act);
    const auto exceptions = loop.handlerExceptions();
    loop.post([] {});
    loop.runUntilIdle();
    const bool goesOn = act % acts.size() >= 4;
    for (const Told* one : {&told, &second})
      EXPECT_TRUE(!goesOn || one->keys == (std::map<std::uint64_t, int>{{1, 1}, {2, 1}, {3, 1}}));
    EXPECT_EQ(loop.handlerExceptions() - exceptions, act % acts.size() == 5 ? 1U : 0U);
    EXPECT_EQ(writer->readers(), reader == nullptr ? 0U : 1U);
    tables.clear();
    told.then = second.then = nullptr;
  }
}

TEST_F(DirectoryTest, WhatOthersRemoveIsMadeAgainUnlessTheyWriteThere) {
  Kiln::EventLoop real;  // the writer looks after its files by a clock of its own
  const auto writer = write(real);
  const auto written = writer->table(shape(), 10);
  const auto reader = read(real);
  const auto rows = reader->table(shape(), &told);
  put(*written, 1, 1);
  EXPECT_TRUE(real.runUntil([&] { return reader->writer().isThere; }, patience));
  EXPECT_EQ(told.take().size(), 1U);
  fs::remove_all(path);
  for (std::uint64_t key = 2; key <= 1000; ++key) put(*written, key, key);  // takes new segments
  EXPECT_TRUE(real.runUntil(
      [&] { return reader->writer().comes == 2 && valueOf(*rows, 1000) == 1000; }, patience));
  EXPECT_EQ(told.keys.size(), 999U);
  EXPECT_FALSE(told.take().contains(1)) << "it is the same in the new files";
  EXPECT_THAT(reports, testing::Contains(path + " had been removed: made again"));
  inChild([&] {
    Kiln::EventLoop own;
    EXPECT_THAT(refusal(), HasSubstr("is written by PID"));
    const auto directory = read(own);
    EXPECT_EQ(valueOf(*directory->table(shape(), nullptr), 1000), 1000U);
  });

  fs::remove(path + "/writer.sock");
  fs::remove(path + "/writer.lock");
  EXPECT_TRUE(real.runUntil([&] { return fs::exists(path + "/writer.sock"); }, patience));
  inChild([&] { EXPECT_THAT(refusal(), HasSubstr("is written by PID")); });
  EXPECT_EQ(reader->writer().comes, 2U) << "its connection stays";

  fs::remove_all(path);
  Other usurper([&](const auto& pause) {
    Kiln::EventLoop own;
    const auto directory = write(own);
    const auto table = directory->table(shape(), 10);
    put(*table, 1, 77);
    pause();
  });
  usurper.awaitPause();
  EXPECT_TRUE(real.runUntil([&] { return written->get() == nullptr; }, patience));
  const std::string by = path + " is written by PID " + std::to_string(usurper.pid());
  EXPECT_THAT(reports.back(), HasSubstr("lost: " + by));
  EXPECT_THAT(Checks::raised<std::system_error>([&] { writer->table(shape(), 1); }), HasSubstr(by));
  EXPECT_TRUE(real.runUntil([&] { return valueOf(*rows, 1) == 77; }, patience));
  EXPECT_EQ(reader->writer().pid, usurper.pid());
  EXPECT_EQ(valueOf(*rows, 2), 0U);
  EXPECT_EQ(told.take().size(), 1000U);
}

TEST_F(DirectoryTest, WhoHasNoRightIsToldWhichAndServedOnceItHasIt) {
  fs::permissions(folder.path, fs::perms(0755));
  const auto writer = write(loop);
  const auto written = writer->table(shape(), 10);
  put(*written, 1, 11);
  ::chmod(path.c_str(), 0);
  Other other([&](const auto& pause) {
    EXPECT_TRUE(::geteuid() != 0 || (::setgid(65534) == 0 && ::setuid(65534) == 0));
    const std::string who = "uid " + std::to_string(::geteuid()) + ", gid ";
    Kiln::EventLoop own;
    const auto reader = read(own);
    const auto rows = reader->table(shape(), &told);
    reader->look();
    reader->look();
    EXPECT_THAT(reports, ElementsAre(testing::AllOf(HasSubstr("needs the right to read " + path +
                                                              "; found mode 0000, uid "),
                                                    HasSubstr("this process has " + who))));
    EXPECT_EQ(refusal().substr(0, reports[0].size()), reports[0]);
    path += "/deeper";
    EXPECT_THAT(refusal(),
                HasSubstr("needs the right to search " + path.substr(0, path.rfind('/'))));
    pause();
    EXPECT_TRUE(own.runUntil([&] { return reader->writer().isThere; }, patience));
    EXPECT_THAT(told.take(), ElementsAre(Pair(1, 1)));
    EXPECT_EQ(reports.size(), 1U);
  });
  other.awaitPause();
  ::chmod(path.c_str(), 0755);
  other.goOn();
  EXPECT_EQ(other.end(), 0);
  EXPECT_THAT(Checks::raised<std::system_error>([&] {
                WriterDirectory(loop, {folder / "new", "nobody-of-that-name", "", 0755, ""}, {});
              }),
              HasSubstr("there is no user nobody-of-that-name"));
  EXPECT_FALSE(fs::exists(folder / "new"));
}

}  // namespace
}  // namespace Tarn
