/// What befalls a table from outside: other versions, other processes, keys and sizes that nobody
/// expects, and limits that are reached.
#include <gmock/gmock.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <span>
#include <system_error>

#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/TableCursor.h"
#include "platform/tarn/TableReader.h"
#include "platform/tarn/TableWriter.h"
#include "tests/platform/tarn/Folder.h"
#include "tests/support/Checks.h"

namespace Tarn {
namespace {

using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using Key = std::uint64_t;
using Look = TableReader::Look;

constexpr Geometry tiny{8, 8, 4096, 4096};
constexpr std::size_t rowSize = 256;

TableShape shape(std::uint64_t schemaHash = 0xabcd) {
  return {"rows", "key value", schemaHash, sizeof(Key), 0, maxRowLimit, tiny};
}

const std::byte* bytesOf(const Key& key) { return reinterpret_cast<const std::byte*>(&key); }

/// A row that tells its key all over.
std::vector<std::byte> rowOf(Key key, std::size_t size = rowSize) {
  std::vector<std::byte> row(size);
  for (std::size_t i = 0; i < size; ++i) row[i] = bytesOf(key)[i % sizeof key];
  return row;
}

bool has(const TableView& view, Key key) {
  const Record found = view.find<sizeof key>(bytesOf(key));
  EXPECT_TRUE(!found ||
              std::ranges::equal(std::span(found.row, found.bytes), rowOf(key, found.bytes)))
      << "a wrong row for " << key;
  return static_cast<bool>(found);
}

std::size_t rowsIn(const TableView& view, Key keys) {
  std::size_t rows = 0;
  for (Key key = 0; key < keys; ++key) rows += has(view, key) ? 1 : 0;
  return rows;
}

class TableFaultsTest : public testing::Test {
 protected:
  static constexpr Key keys = 200;

  void open(const TableShape& what = shape()) {
    writer.reset();
    storage = directoryStorageFactory(folder.path, {});
    writer.emplace(*storage, what, 1, report());
  }
  void fill() {
    open();
    for (Key key = 0; key < keys; ++key) put(key);
  }
  void put(Key key, std::size_t size = rowSize) { writer->put(rowOf(key, size).data(), size); }
  Report report() {
    return [this](const std::string& text) { reports.push_back(text); };
  }
  std::unique_ptr<TableReader> reader(TableReader::Follow follow, std::uint64_t hash = 0xabcd) {
    read.push_back(directoryStorageFactory(folder.path));
    return std::make_unique<TableReader>(*read.back(), shape(hash), follow, report());
  }
  /// Whatever stands in the head is different from now on.
  template <class Change>
  void changeHead(Change change) {
    const Mapping head = storage->open(headName("rows"), Access::write).mapping;
    auto* fixed = reinterpret_cast<HeadFixed*>(head.data());
    change(*fixed);
    fixed->check = checkFixed(*fixed);
  }

  const Folder folder;
  std::unique_ptr<Storage> storage;
  std::vector<std::unique_ptr<Storage>> read;
  std::optional<TableWriter> writer;
  std::vector<std::string> reports;
};

TEST_F(TableFaultsTest, AnotherLayoutIsMovedAsideAndOtherRowsAreRefused) {
  fill();
  const auto other = reader(TableReader::Follow::yes, 0x1234);
  other->refresh(Look::counted, nullptr);
  EXPECT_FALSE(other->isAttached());
  EXPECT_THAT(other->problem(), HasSubstr("schema 000000000000abcd, need 0000000000001234"));
  writer.reset();
  const auto before = folder.content();
  EXPECT_THAT(Checks::raised<Forma::AccessException>([&] { open(shape(0x1234)); }),
              AllOf(HasSubstr("table rows in " + folder.path),
                    HasSubstr("schema 000000000000abcd, need 0000000000001234")));
  EXPECT_THAT(folder.content(), testing::UnorderedElementsAreArray(before));

  changeHead([](HeadFixed& fixed) { fixed.layout = layoutVersion + 2; });
  const std::string text =
      "layout " + std::to_string(layoutVersion + 2) + ", need " + std::to_string(layoutVersion);
  const auto waiting = reader(TableReader::Follow::yes);
  waiting->refresh(Look::everywhere, nullptr);
  waiting->refresh(Look::everywhere, nullptr);
  EXPECT_THAT(waiting->problem(), HasSubstr(text));
  reports.clear();
  open();
  EXPECT_THAT(reports, testing::ElementsAre(AllOf(HasSubstr(text), HasSubstr("/aside.1"))));
  EXPECT_EQ(writer->rows(), 0U);
  EXPECT_TRUE(fs::exists(folder / "aside.1/rows.head"));
  put(7);
  waiting->refresh(Look::counted, nullptr);
  EXPECT_TRUE(has(waiting->view(), 7));
  EXPECT_EQ(waiting->problem(), "");
}

TEST_F(TableFaultsTest, KeysOfOneHashPrefixEndInAnErrorAndNotInALoop) {
  fill();
  std::vector<Key> hostile;
  for (Key key = 1000; hostile.size() < 100; ++key)
    if (writer->view().hash(bytesOf(key), sizeof key) >> 50 == 5) hostile.push_back(key);
  const auto flood = [&] {
    for (const Key key : hostile) put(key);
  };
  EXPECT_THAT(Checks::raised<ResourceException>(flood),
              AllOf(HasSubstr("table rows in " + folder.path), HasSubstr("cannot grow")));
  EXPECT_EQ(rowsIn(writer->view(), keys), keys);
  const auto in = static_cast<std::size_t>(
      std::ranges::count_if(hostile, [&](Key key) { return has(writer->view(), key); }));
  EXPECT_EQ(writer->rows(), keys + in);
  EXPECT_LT(in, hostile.size());
  EXPECT_GT(in, 4U);
  for (Key key = 0; key < keys; ++key) put(key);
  open();
  EXPECT_EQ(writer->verify(), 0U);
  EXPECT_EQ(writer->rows(), keys + in);
  writer->renew();  // under another seed they are keys as others are
  flood();
  EXPECT_EQ(writer->rows(), keys + hostile.size());
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(TableFaultsTest, RowsOfAnyAllowedSizeAndOfNoOther) {
  EXPECT_THAT(Checks::raised([&] { TableWriter(*memoryStorageFactory("m"), shape(), 0, nullptr); }),
              HasSubstr("an initial size of 0 rows not allowed"));
  fill();
  const std::size_t rows = writer->rows();
  for (const std::size_t size : {sizeof(Key) - 1, std::size_t{0}, std::size_t{maxRowLimit} + 1})
    EXPECT_THAT(Checks::raised([&] { writer->room(size); }),
                HasSubstr("a row of " + std::to_string(size) + " bytes, of 4096 at most"));
  EXPECT_EQ(writer->rows(), rows);
  for (const std::size_t size : {sizeof(Key), sizeof(Key) + 1, std::size_t{maxRowLimit}}) {
    put(3, size);
    put(5, maxRowLimit);
    EXPECT_EQ(writer->view().find<8>(bytesOf(3)).bytes, size);
    EXPECT_EQ(rowsIn(writer->view(), keys), keys);
  }
}

TEST_F(TableFaultsTest, AWalkMeetsAllKeysThatStayWhileTheTableGrowsAHundredfold) {
  for (const unsigned seed : {1U, 2U}) {
    std::mt19937 random(seed);
    const auto memory = memoryStorageFactory("memory");
    writer.emplace(*memory, shape(), 1, report());
    for (Key key = 0; key < keys; ++key) put(key, 16);
    std::map<Key, int> met;
    TableCursor cursor(sizeof(Key));
    Key added = keys;
    for (int step = 0; const std::byte* at = cursor.next(writer->view()); ++step) {
      ++met[load64(at)];
      ASSERT_LT(step, 30'000) << "does not end";
      if (added < 100 * keys)
        for (auto n = random() % 400; n > 0; --n) put(added++, 16);
      if (random() % 256 == 0) writer->renew();
      put(random() % keys, 16);
    }
    for (Key key = 0; key < keys; ++key) EXPECT_EQ(met[key], 1) << "seed " << seed;
    EXPECT_THAT(met, Each(testing::Pair(testing::_, 1)));
    EXPECT_GT(added, 50 * keys);
    writer.reset();
  }
}

TEST_F(TableFaultsTest, AReaderWithoutDescriptorsSaysSoOnceAndGoesOnLater) {
  fill();
  inChild([&] {
    const auto rows = reader(TableReader::Follow::no);
    rows->refresh(Look::counted, nullptr);
    ASSERT_TRUE(has(rows->view(), 0));
    const std::size_t before = rowsIn(rows->view(), 1);
    EXPECT_EQ(before, 1U);
    const auto late = reader(TableReader::Follow::yes);
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{0, limit.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    // Nothing is judged before there are descriptors again: sanitizers need some for a new type.
    for (int i = 0; i < 3; ++i) late->refresh(Look::everywhere, nullptr);
    const std::vector<std::string> said = reports;
    const std::size_t found = rowsIn(rows->view(), keys);
    ::setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_THAT(said, testing::ElementsAre(HasSubstr("no file descriptors left")));
    EXPECT_LT(found, keys) << "some segments are not mapped yet";
    EXPECT_THAT(reports, Each(testing::AnyOf(HasSubstr("no file descriptors left"),
                                             HasSubstr("no whole row"))));
    late->refresh(Look::everywhere, nullptr);
    EXPECT_EQ(late->problem(), "");
    EXPECT_EQ(rowsIn(late->view(), keys), keys);
    EXPECT_EQ(rowsIn(rows->view(), keys), keys);
  });
}

/// A file system of 256 KiB, for this process alone; false where the kernel allows none.
bool mountLittle(const std::string& path) {
  const int flags = ::geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER;
  return ::unshare(flags) == 0 && ::mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         ::mount("tmpfs", path.c_str(), "tmpfs", 0, "size=256k,mode=0777") == 0;
}

TEST_F(TableFaultsTest, AFullFileSystemIsAnErrorAndOldRowsStay) {
  inChild([&] {
    if (!mountLittle(folder.path)) {
      constexpr rlimit little{4000, RLIM_INFINITY};  // no segment fits: the same error another way
      fill();
      ::signal(SIGXFSZ, SIG_IGN);
      ::setrlimit(RLIMIT_FSIZE, &little);
    } else {
      fill();
    }
    const auto flood = [&] {
      for (Key key = keys; key < 100'000; ++key) put(key);
    };
    const std::string text = Checks::raised<std::system_error>(flood);
    EXPECT_THAT(text,
                AllOf(HasSubstr("bytes for " + folder.path),
                      testing::AnyOf(HasSubstr("no space left"), HasSubstr("File too large"))));
    const std::size_t rows = writer->rows();
    EXPECT_EQ(rowsIn(writer->view(), 100'000), rows);
    EXPECT_GE(rows, keys);
    auto late = reader(TableReader::Follow::yes);
    late->refresh(Look::everywhere, nullptr);
    EXPECT_EQ(rowsIn(late->view(), 100'000), rows);
    late.reset();  // files that are gone take space as long as somebody maps them
    for (Key key = keys; key < 100'000; ++key) writer->remove(bytesOf(key));
    constexpr rlimit all{RLIM_INFINITY, RLIM_INFINITY};
    ::setrlimit(RLIMIT_FSIZE, &all);
    for (Key key = 0; key < keys; ++key) put(key);
    open();
    EXPECT_EQ(writer->verify() + writer->rows(), keys);
  });
}

/// Each file in turn is cut short by somebody while a reader and the writer have it mapped.
TEST_F(TableFaultsTest, FilesThatAreCutShortKillNobody) {
  fill();
  const std::size_t files = folder.content().size();
  for (std::size_t which = 0; which < files; ++which)
    inChild([&] {
      busErrorsAreHandled();
      const Folder own;
      fs::copy(folder.path, own.path);
      const auto there = directoryStorageFactory(own.path, {});
      TableWriter next(*there, shape(), 1, report());
      const auto mapped = directoryStorageFactory(own.path);
      TableReader rows(*mapped, shape(), TableReader::Follow::yes, report());
      KeyList told;
      rows.refresh(Look::counted, &told);
      EXPECT_EQ(rowsIn(rows.view(), keys), keys);
      EXPECT_THAT(reports, IsEmpty());
      std::vector<std::string> names = own.content();
      std::ranges::sort(names);
      fs::resize_file(own / names[which], 0);
      const std::size_t left = rowsIn(rows.view(), keys);
      rows.refresh(Look::everywhere, &told);
      EXPECT_TRUE(left == keys || !reports.empty()) << names[which];
      rowsIn(next.view(), keys);
      next.renew();
      rows.refresh(Look::everywhere, &told);
      for (Key key = 0; key < keys; ++key) next.put(rowOf(key).data(), rowSize);
      rows.refresh(Look::everywhere, &told);
      EXPECT_EQ(rowsIn(next.view(), keys), keys) << names[which];
      EXPECT_EQ(rowsIn(rows.view(), keys), keys) << names[which];
    });
}

/// Ages are told by the clock that no administrator sets and that goes on while the machine sleeps.
TEST_F(TableFaultsTest, ATableTellsSinceWhenItHasNoWriter) {
  const auto now = [] {
    timespec time{};
    ::clock_gettime(CLOCK_BOOTTIME, &time);
    return static_cast<Word>(time.tv_sec) * 1'000'000'000U + static_cast<Word>(time.tv_nsec);
  };
  const Word before = now();
  EXPECT_EQ(exitOf([&] {
              fill();
              static_cast<void>(::raise(SIGKILL));
              return 0;
            }),
            -SIGKILL);
  const Word after = now();
  const auto rows = reader(TableReader::Follow::no);
  rows->refresh(Look::counted, nullptr);
  const HeadState& state = rows->view().state();
  EXPECT_TRUE(before <= state.writerSince && state.writerSince <= state.writerSeen &&
              state.writerSeen <= after);
  EXPECT_NE(state.writerPid, 0U) << "killed";
  EXPECT_EQ(rowsIn(rows->view(), keys), keys) << "rows outlive their writer";
  EXPECT_EQ(exitOf([&] { return open(), writer.reset(), 0; }), 0);
  EXPECT_EQ(state.writerPid, 0U) << "detached in order";
  EXPECT_GE(state.writerSince, after);
  EXPECT_EQ(state.epoch, 2U);
}

/// Readers leave nothing in the table, however they end.
TEST_F(TableFaultsTest, AKilledReaderIsNotNoticed) {
  fill();
  const auto state = [&] {
    std::map<std::string, std::string> all;
    for (const std::string& name : folder.content()) {
      std::ifstream file(folder / name);
      all[name] = std::string(std::istreambuf_iterator<char>(file), {});
    }
    return all;
  };
  const auto before = state();
  for (Key last = 0; last < 20; ++last)
    EXPECT_EQ(exitOf([&] {
                const auto rows = reader(TableReader::Follow::yes);
                rows->refresh(Look::counted, nullptr);
                rowsIn(rows->view(), last * 10);
                static_cast<void>(::raise(SIGKILL));
                return 0;
              }),
              -SIGKILL);
  EXPECT_EQ(state(), before);
}

}  // namespace
}  // namespace Tarn
