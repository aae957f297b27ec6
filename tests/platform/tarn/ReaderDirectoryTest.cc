#include "platform/tarn/ReaderDirectory.h"

#include "tests/platform/tarn/DirectoryFixture.h"

namespace Tarn {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

class ReaderDirectoryTest : public DirectoryFixture {};

TEST_F(ReaderDirectoryTest, AReaderMayComeBeforeItsDirectoryIsThere) {
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

TEST_F(ReaderDirectoryTest, AfterAKilledWriterReadersHearOfRealDifferencesOnly) {
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

/// Whoever hears that the writer went may find the next directory before the reader looks for it.
TEST_F(ReaderDirectoryTest, TheWriterOfADirectoryThatWasFoundMeanwhileStays) {
  std::vector<std::unique_ptr<Other>> writers;
  const auto replaceDirectory = [&] {
    if (!writers.empty()) fs::rename(path, path + std::to_string(writers.size()));
    writers.push_back(writer([](WriterHandle&) {}));
    writers.back()->awaitPause();
  };
  replaceDirectory();
  const auto reader = read(loop);
  const auto rows = reader->table(shape(), nullptr);
  loop.runUntilIdle();
  reader->onWriterIs([&, note = noteOf(*reader)] {
    note();
    if (reader->writer().isThere || writers.size() > 2) return;
    replaceDirectory();
    reader->table(shape("none"), nullptr);  // misses its file, and so finds the directory
  });
  replaceDirectory();
  loop.runUntilIdle();
  loop.advance(clock, 10);
  EXPECT_THAT(events, ElementsAre("came 1", "went 1", "came 2"));
  EXPECT_EQ(reader->writer().pid, writers.back()->pid());
}

TEST_F(ReaderDirectoryTest, AStoppedReaderCostsOneRingAndALostRingCostsTime) {
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

TEST_F(ReaderDirectoryTest, WhoIsToldMayDoAnything) {
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

}  // namespace
}  // namespace Tarn
