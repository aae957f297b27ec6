#include "platform/centrum/Database.h"

#include <vector>

#include "tests/platform/centrum/DatabaseModel.h"
#include "tests/support/Checks.h"

namespace {

using Centrum::Cursor;
using Centrum::Database;
using Centrum::Path;
using Checks::raised;
using namespace DatabaseModel;

std::string put(std::string_view key, std::string_view value) {
  std::string out;
  Forma::appendRecord(out, {LogOp::put, 1, key, value});
  return out;
}

/// Readers of random pace follow random changes; some leave and come again; the database forgets.
TEST(DatabaseModelTest, EveryReaderEndsWithWhatThereIs) {
  int snapshots = 0;
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    Database database(1);
    Path& path = database.make("model", "Test::Type", 1);
    Truth truth;
    std::vector<std::unique_ptr<Reader>> readers;
    for (int i = 0; i < 6; ++i) readers.push_back(std::make_unique<Reader>(database, path, truth));
    for (int step = 0; step < 300 && !testing::Test::HasFailure(); ++step) {
      std::string records;
      appendChanges(random, records);
      const bool renew = below(random, 10) == 0;
      const Sequence before = database.sequence();
      const Node old = truth.root;
      truth.apply(records, renew, before + 1);
      const bool changed = database.apply(path, records, renew, 7, before);
      EXPECT_TRUE(changed || old == truth.root);
      EXPECT_EQ(database.sequence(), before + (changed ? 1 : 0));
      EXPECT_FALSE(database.apply(path, {}, false, 7, before));
      EXPECT_EQ(path.liveCells(), truth.root.cells());
      EXPECT_EQ(path.bytes(), truth.root.bytes());
      EXPECT_LE(path.deadCells(), std::max(Database::tombstonesKept, path.liveCells()));
      for (const auto& reader : readers) {
        if (below(random, 20) == 0) {
          reader->detach();
          reader->attach(database, path);
        }
        reader->readSome(random);
      }
    }
    for (const auto& reader : readers) {
      reader->readAll(random);
      snapshots += reader->snapshots();
    }
    if (testing::Test::HasFailure()) return;
  }
  EXPECT_GT(snapshots, 3 * 20 * 6) << "readers were hardly ever lost";
}

TEST(DatabaseTest, ReadersAtOnePlaceShareTheBytesOfAPiece) {
  Database database(1);
  Path& path = database.make("a", "Test::Type", 1);
  Cursor first(path);
  Cursor second(path);
  EXPECT_FALSE(path.nextDelta(first, 100, false, false));
  for (const char* key : {"k", "l", "m"}) database.apply(path, put(key, "value"), false, 1, 1);
  const auto piece = path.nextDelta(first, 15, false, false);
  ASSERT_TRUE(piece);
  EXPECT_EQ(first.sequence(), database.sequence() - 1);
  EXPECT_EQ(path.nextDelta(second, 15, false, false), piece);
  EXPECT_NE(path.nextDelta(second, 15, false, false), piece);
  EXPECT_TRUE(second.atEnd());
  first.toHead();
  EXPECT_NE(path.nextDelta(first, 15, true, true), piece);
  EXPECT_FALSE(first.toSequence(database.sequence() + 1));
  EXPECT_TRUE(first.toSequence(database.sequence() - 1));
  EXPECT_FALSE(first.atEnd());

  // A snapshot tells of what was erased since it began, unlike one that begins later.
  first.toHead();
  database.apply(path, {}, true, 1, 1);
  second.toHead();
  Cursor third(path);
  third.toHead();
  const auto told = path.nextDelta(first, 100, true, true);
  const auto empty = path.nextDelta(second, 100, true, true);
  EXPECT_GT(told->size(), empty->size());
  EXPECT_EQ(path.nextDelta(third, 100, true, true), empty);
}

TEST(DatabaseTest, PathsAreMadeWithTheirDirectoriesAndGoWithWhatIsBelow) {
  Database database(1, 41);
  Path& leaf = database.make("a/b//leaf", "Test::Type", 0xabc);
  EXPECT_EQ(database.sequence(), 42U);
  EXPECT_EQ(&database.make("/a/b/leaf/", "Test::Type", 0xabc), &leaf);
  EXPECT_EQ(&database.make("a", "Forma::Dir", 77), leaf.parent()->parent());
  EXPECT_EQ(database.sequence(), 42U);
  database.make("a/b-", "Test::Type", 1);
  const auto names = [&database] {
    std::string all;
    database.eachPath([&](const Path& path) { all += path.fullName() + ";"; });
    return all;
  };
  EXPECT_EQ(names(), ";a;a/b;a/b-;a/b/leaf;");
  const auto refusal = [&](const char* name, const char* type, std::uint64_t schema) {
    return raised<Forma::NameException>([&] { database.make(name, type, schema); });
  };
  EXPECT_EQ(
      refusal("a/b/leaf", "Test::Other", 0xabc),
      "cannot make \"a/b/leaf\" of type Test::Other: \"a/b/leaf\" is there, of type Test::Type");
  EXPECT_EQ(refusal("a/b/leaf", "Test::Type", 0xabd),
            "cannot make \"a/b/leaf\" of type Test::Type: \"a/b/leaf\" is there, of schema "
            "0000000000000abc instead of 0000000000000abd");
  EXPECT_EQ(refusal("a/b/leaf/x", "Test::Type", 1),
            "cannot make \"a/b/leaf/x\" of type Test::Type: \"a/b/leaf\" is no directory but of "
            "type Test::Type");
  EXPECT_NE(raised<Forma::NameException>([&] { database.remove(database.root()); }), "nothing");
  EXPECT_EQ(database.sequence(), 43U);

  const std::uint32_t gone = leaf.id();
  Path& top = *database.find("a");
  Cursor reader(top);
  database.remove(*database.find("a/b"));
  EXPECT_EQ(names(), ";a;a/b-;");
  EXPECT_EQ(database.sequence(), 44U);
  EXPECT_EQ(top.liveCells(), 1U);
  EXPECT_NE(top.nextDelta(reader, 100, false, false), nullptr);
  EXPECT_EQ(database.find(gone), nullptr);
  EXPECT_GT(database.make("a/b/leaf", "Test::Other", 1).id(), gone);
}

}  // namespace
