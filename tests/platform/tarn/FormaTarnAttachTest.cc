#include <algorithm>
#include <memory>
#include <set>
#include <span>
#include <sstream>
#include <system_error>
#include <vector>

#include "platform/tarn/FormaTarnMap.h"
#include "tests/platform/tarn/Folder.h"
#include "tests/platform/tarn/TableTypes.h"
#include "tests/support/Checks.h"

namespace TarnTest {
namespace {

using Forma::Ptr;
using testing::HasSubstr;

/// Desks on one directory, each with one who writes down what it hears.
class AttachTest : public testing::Test {
 protected:
  struct Place {
    explicit Place(const char* name) : desk(deskFactory(name)) {
      watcher.plain = [this](std::uint32_t key) { heard += " " + std::to_string(key); };
      watcher.array = [this](RowKey key) { heard += " array" + std::to_string(key.number()); };
      watcher.notifierIs(desk);
    }
    /// What was heard since, in order.
    std::string take() {
      std::vector<std::string> words;
      std::istringstream in(std::exchange(heard, ""));
      for (std::string word; in >> word;) words.push_back(word);
      std::ranges::sort(words);
      std::string all;
      for (const std::string& word : words) all += word + " ";
      return all;
    }
    Ptr<Desk> desk;
    Watcher watcher;
    std::string heard;
  };

  std::unique_ptr<Tarn::WriterDirectory> newWriter() {
    Tarn::WriterDirectory::Options options;
    options.path = folder / "desks";
    return std::make_unique<Tarn::WriterDirectory>(loop, options, report);
  }
  std::unique_ptr<Tarn::ReaderDirectory> newReader() {
    return std::make_unique<Tarn::ReaderDirectory>(loop, folder / "desks", report);
  }
  /// Until the reader has heard that much.
  void await(Place& place, std::string due) {
    std::string all;
    EXPECT_TRUE(loop.runUntil(
        [&] {
          all += place.take();
          return all.size() >= due.size();
        },
        20));
    EXPECT_EQ(all, due);
  }
  static std::string refusal(Desk& desk) {
    return Checks::raised<Forma::AccessException>([&] { desk.plainIs(PlainRow(1, 1)); });
  }

  Tarn::Folder folder;
  Kiln::EventLoop loop;
  std::vector<std::string> reports;
  Tarn::Report report = [this](const std::string& text) { reports.push_back(text); };
};

TEST_F(AttachTest, ChangesOfTheWriterReachTheReaderKeyByKey) {
  Place written("written"), read("read");
  auto reader = newReader();
  FormaTarn::attachReader(*read.desk, *reader);  // nobody has written anything yet
  EXPECT_EQ(read.desk->plains(), 0U);
  auto writer = newWriter();
  FormaTarn::attachWriter(*written.desk, *writer);
  written.desk->plainIs(PlainRow(7, 70));
  written.desk->arrayIs(ArrayRow(RowKey(8), "eight"));
  await(read, "7 array8 ");
  EXPECT_TRUE(read.desk->plain(7) == PlainRow(7, 70) && read.desk->arrays() == 1);
  EXPECT_EQ(read.desk->array(RowKey(8)).textText(), "eight");

  written.desk->plainDel(7);
  written.desk->plainIs(PlainRow(9, 90));
  await(read, "7 9 ");
  EXPECT_TRUE(read.desk->plain(7) == PlainRow() && read.desk->plain(9).amount() == 90);

  const std::string path = folder / "desks";
  EXPECT_EQ(refusal(*read.desk), "plain is read-only here: attached as reader of " + path);
  EXPECT_NE(Checks::raised<Forma::AccessException>([&] { read.desk->plainDel(1); }), "nothing");
  EXPECT_NE(Checks::raised<Forma::AccessException>([&] { read.desk->plainDelAll(); }), "nothing");
  EXPECT_THAT(
      Checks::raised<Forma::AccessException>([&] { FormaTarn::attachReader(*read.desk, *reader); }),
      HasSubstr("attached already: as reader of " + path));
  EXPECT_EQ(read.desk->plain(9).amount(), 90U);

  reader = nullptr;
  EXPECT_TRUE(read.desk->plain(9) == PlainRow() && read.desk->plains() == 0);
  FormaTarn::detach(*read.desk);
  EXPECT_EQ(refusal(*read.desk), "nothing");
  writer = nullptr;
  EXPECT_THAT(refusal(*written.desk), HasSubstr(path + " was let go of"));
  EXPECT_THAT(reports, testing::ElementsAre(HasSubstr("No such file")));  // before the writer came
}

/// Its own rows give way to those that are there, and who observes hears what is different.
TEST_F(AttachTest, AnEntityTakesOverTheRowsOfItsDirectory) {
  auto writer = newWriter();
  {
    const Ptr<Desk> before = deskFactory("before");
    FormaTarn::attachWriter(*before, *writer);
    for (std::uint32_t key = 1; key <= 3; ++key) before->plainIs(PlainRow(key, key));
    before->arrayIs(ArrayRow(RowKey(5), "five"));
  }
  Place place("place");
  place.desk->plainIs(PlainRow(2, 2));
  place.desk->plainIs(PlainRow(3, 4));
  place.desk->plainIs(PlainRow(4, 4));
  place.take();
  EXPECT_THAT(Checks::raised<Forma::RangeException>(
                  [&] { FormaTarn::attachWriter(*place.desk, *writer, 0); }),
              HasSubstr("table plain in " + writer->path() + ": 0 initial rows"));
  {
    const auto taken = writer->table(place.desk->arrayTable().shape(), 1);
    EXPECT_THROW(FormaTarn::attachWriter(*place.desk, *writer), std::system_error);
  }
  EXPECT_TRUE(place.desk->plains() == 3 && place.take().empty());

  auto walk = place.desk->plainTable().begin();  // goes on over the new rows
  FormaTarn::attachWriter(*place.desk, *writer);
  EXPECT_EQ(place.take(), "1 3 4 array5 ");
  EXPECT_TRUE(place.desk->plains() == 3 && place.desk->plain(3).amount() == 3);
  std::set<std::uint32_t> met;
  for (; walk != std::default_sentinel; ++walk) EXPECT_TRUE(met.insert(walk->key).second);
  EXPECT_TRUE(met.contains(2) && met.contains(3));

  place.watcher.plain = [](std::uint32_t) { throw Stop(); };
  EXPECT_THROW(FormaTarn::detach(*place.desk), Stop);
  EXPECT_EQ(place.take(), "array5 ");
  EXPECT_TRUE(place.desk->plains() == 0 && place.desk->arrays() == 0);

  Place reading("reading");
  const auto reader = newReader();
  FormaTarn::attachReader(*reading.desk, *reader);
  EXPECT_EQ(reading.take(), "1 2 3 array5 ");
}

/// The writer may renew its table before the reader has looked: what the reader had not mapped of
/// the old files is gone then.
TEST_F(AttachTest, AWalkOfTheReaderFollowsARenewal) {
  const Ptr<Desk> written = deskFactory("written");
  Tarn::TarnMap<std::uint32_t, PlainRow> read("plain");
  written->plainTable().geometryIs({8, 8, 4096, 4096});
  const auto writer = newWriter();
  FormaTarn::attachWriter(*written, *writer, 1);
  std::vector<PlainRow> rows;
  for (std::uint32_t key = 0; key < 3000; ++key) rows.emplace_back(key, key + 1);
  written->plainTable().safeWriteBatch(std::span(rows).first(1000));
  written->plainTable().safeWriteBatch(rows);
  const auto reader = newReader();
  read.attachReader(*reader);
  std::set<std::uint32_t> met;
  for (const auto& [key, row] : read) {
    EXPECT_TRUE(met.insert(key).second && row.amount() == key + 1);
    if (met.size() % 700 == 1) written->plainTable().writer().renew();
  }
  EXPECT_TRUE(met.size() == 3000 && reports.empty()) << met.size();
}

}  // namespace
}  // namespace TarnTest
