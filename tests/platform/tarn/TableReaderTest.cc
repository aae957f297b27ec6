/// A reader tells exactly what changed, whatever its writer does, and survives what it reads.
#include "platform/tarn/TableReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <optional>
#include <random>
#include <set>
#include <thread>

#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/TableWriter.h"
#include "tests/platform/tarn/Folder.h"

namespace Tarn {
namespace {

using Key = std::uint64_t;
using Look = TableReader::Look;
using Follow = TableReader::Follow;

/// A row tells in each of its words which key and which write it is of.
struct Row {
  Row(Key key, std::uint64_t version) : words(2 + version % 9) {
    for (std::size_t i = 0; i < words.size(); ++i) words[i] = i < 2 ? 0 : word(key, version, i);
    words[0] = key;
    words[1] = version;
  }
  static std::uint64_t word(Key key, std::uint64_t version, std::size_t i) {
    return fold(key + i, version ^ 0x9e3779b97f4a7c15U);
  }
  const std::byte* bytes() const { return reinterpret_cast<const std::byte*>(words.data()); }
  std::size_t size() const { return words.size() * sizeof(std::uint64_t); }
  std::vector<std::uint64_t> words;
};

/// The version of the row that a reader finds; 0 when it finds none.
std::uint64_t versionIn(const TableView& view, Key key) {
  const Record found = view.find<sizeof key>(reinterpret_cast<const std::byte*>(&key));
  if (!found) return 0;
  const Row row(key, load64(found.row + sizeof key));
  EXPECT_TRUE(found.bytes == row.size() && std::memcmp(found.row, row.bytes(), row.size()) == 0)
      << "not the row of " << key;
  return row.words[1];
}

std::vector<Key> keysIn(const KeyList& list) {
  std::vector<Key> keys(list.size());
  for (std::size_t i = 0; i < keys.size(); ++i) std::memcpy(&keys[i], list[i], sizeof(Key));
  std::ranges::sort(keys);
  return keys;
}

TableShape shapeOf(const Geometry& geometry) {
  return {"rows", "key version words", 0x5eed, sizeof(Key), 0, 128, geometry};
}

const Geometry tiny{8, 8, 4096, 4096};

/// A storage whose files two threads make and open.
class LockedStorage : public Storage {
 public:
  using Lock = std::lock_guard<std::mutex>;
  explicit LockedStorage(std::unique_ptr<Storage> storage) : storage_(std::move(storage)) {}
  std::string name() const override { return storage_->name(); }
  bool isShared() const override { return storage_->isShared(); }
  Mapping create(std::string_view file, std::size_t size,
                 const std::function<void(std::byte*)>& fill) override {
    return Lock(mutex_), storage_->create(file, size, fill);
  }
  Opened open(std::string_view file, Access access) const override {
    return Lock(mutex_), storage_->open(file, access);
  }
  void remove(std::string_view file) override {
    const Lock lock(mutex_);
    storage_->remove(file);
  }
  bool isThere(std::string_view file, const Mapping& mapping) const override {
    return Lock(mutex_), storage_->isThere(file, mapping);
  }
  bool isDamaged(const Mapping& mapping) const override { return storage_->isDamaged(mapping); }
  std::vector<std::string> files() const override { return Lock(mutex_), storage_->files(); }
  std::string moveAside(const std::vector<std::string>& names) override {
    return Lock(mutex_), storage_->moveAside(names);
  }

 private:
  const std::unique_ptr<Storage> storage_;
  mutable std::mutex mutex_;
};

/// A writer, and what it wrote.
class Model {
 public:
  Model(Storage& storage, const Geometry& geometry, unsigned seed)
      : storage_(storage), geometry_(geometry), random_(seed) {
    restart();
  }
  std::size_t below(std::size_t end) { return random_() % end; }
  void restart() {
    writer_.reset();
    writer_.emplace(storage_, shapeOf(geometry_), 1,
                    [this](const std::string& text) { reports.push_back(text); });
    EXPECT_EQ(writer_->rows(), rows.size());
  }
  void put(Key key) {
    const Row row(key, ++version_);
    const std::array<Key, 2> coming{key, key + 1};
    if (version_ % 3 == 0) writer_->expect(reinterpret_cast<const std::byte*>(coming.data()), 2);
    writer_->put(row.bytes(), row.size());
    rows[key] = version_;
  }
  void remove(Key key) {
    EXPECT_EQ(writer_->remove(reinterpret_cast<const std::byte*>(&key)), rows.erase(key) != 0);
  }
  /// One key, many, or none: the writer tidies up.
  void step(std::size_t keys) {
    const std::size_t kind = below(100);
    if (kind < 45) put(below(keys));
    else if (kind < 80) remove(below(keys));
    else if (kind < 90) remove(rows.empty() ? 0 : rows.begin()->first), put(below(keys));
    else if (kind < 93) writer_->turn();
    else if (kind < 95)
      for (std::size_t n = below(keys); n-- > 0;) put(below(keys));
    else if (kind < 96)
      for (std::size_t n = below(keys); n-- > 0;) remove(below(keys));
    else if (kind < 97) writer_->renew();
    else if (kind < 98) EXPECT_EQ(writer_->verify(), 0U);
    else if (kind < 99) restart();
    else if (version_ > 1000) runOut();
  }
  TableWriter& writer() { return *writer_; }

  std::map<Key, std::uint64_t> rows;
  std::vector<std::string> reports;

 private:
  /// Of segments first, then of sequences, then no more.
  void runOut() {
    const std::uint64_t end = ~std::uint64_t{0} - (std::uint64_t{1} << 32);
    const auto segment = static_cast<std::uint32_t>(writer_->view().state().nextSegment.load());
    ++ranOut_;
    if (ranOut_ == 1) writer_->numbersAre(segmentLimit - 1100, end / 2);
    else if (ranOut_ == 2) writer_->numbersAre(segment, end - 300);
  }
  Storage& storage_;
  const Geometry geometry_;
  std::mt19937 random_;
  std::optional<TableWriter> writer_;
  std::uint64_t version_ = 0;
  int ranOut_ = 0;
};

/// A reader, and what its listener knows.
class Listener {
 public:
  Listener(const Storage& storage, Follow follow)
      : reader(storage, shapeOf(tiny), follow,
               [this](const std::string& text) { reports.push_back(text); }) {}
  void refresh(Look look) {
    KeyList list;
    reader.refresh(look, &list);
    told = keysIn(list);
    for (const Key key : told) hear(key);
  }
  void hear(Key key) {
    if (const std::uint64_t version = versionIn(reader.told(), key)) rows[key] = version;
    else rows.erase(key);
  }
  /// Whether what was told is all there is to know, whatever the writer does meanwhile.
  bool knowsWhatIsTold(std::size_t keys) const {
    for (Key key = 0; key < keys; ++key) {
      const auto known = rows.find(key);
      if (versionIn(reader.told(), key) != (known == rows.end() ? 0 : known->second)) return false;
    }
    return reader.told().state().rows.load() == rows.size();
  }
  TableReader reader;
  std::vector<Key> told;
  std::map<Key, std::uint64_t> rows;
  std::vector<std::string> reports;
};

std::vector<Key> differences(const std::map<Key, std::uint64_t>& before,
                             const std::map<Key, std::uint64_t>& now) {
  std::vector<Key> keys;
  for (const auto& [key, version] : before)
    if (!now.contains(key)) keys.push_back(key);
  for (const auto& [key, version] : now)
    if (const auto was = before.find(key); was == before.end() || was->second != version)
      keys.push_back(key);
  std::ranges::sort(keys);
  return keys;
}

void expectFound(const TableView& view, const Model& model, std::size_t keys) {
  std::vector<Key> all(keys);
  std::iota(all.begin(), all.end(), Key{0});
  std::vector<Record> found(keys);
  view.findBatch<sizeof(Key)>(reinterpret_cast<const std::byte*>(all.data()), keys, found.data());
  for (Key key = 0; key < keys; ++key) {
    ASSERT_TRUE(static_cast<bool>(found[key]) == model.rows.contains(key) &&
                (!found[key] || std::memcmp(found[key].row, &key, sizeof key) == 0))
        << "key " << key;
    const auto row = model.rows.find(key);
    ASSERT_EQ(versionIn(view, key), row == model.rows.end() ? 0 : row->second) << "key " << key;
  }
}

bool areSequencesHuge(const TableView& view) {
  return view.isAttached() && view.state().sequenceLimit.load() > ~std::uint64_t{0} / 4 * 3;
}

/// Expects that exactly the keys of rows that differ are told. When sequences have run out, and
/// begin anew, every row counts as changed.
void expectTold(Listener& listener, const Model& model, Look look) {
  const std::vector<Key> expected = differences(listener.rows, model.rows);
  const bool wereHuge = areSequencesHuge(listener.reader.view());
  listener.refresh(look);
  EXPECT_EQ(listener.rows, model.rows);
  EXPECT_EQ(std::ranges::adjacent_find(listener.told), listener.told.end()) << "told twice";
  if (wereHuge && !areSequencesHuge(listener.reader.view()))
    EXPECT_TRUE(std::ranges::includes(listener.told, expected));
  else EXPECT_EQ(listener.told, expected);
}

void runModel(Storage& written, const Storage& read, const Geometry& geometry, unsigned seed) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  constexpr std::size_t keys = 700;
  Listener listener(read, Follow::yes);
  Listener other(read, Follow::no);
  listener.refresh(Look::counted);
  EXPECT_TRUE(!listener.reader.isAttached() && !listener.reader.problem().empty());
  Model model(written, geometry, seed);
  for (int step = 0; step < 3000 && !testing::Test::HasFailure(); ++step) {
    model.step(keys);
    if (model.below(8) != 0) continue;
    SCOPED_TRACE("step " + std::to_string(step));
    if (model.below(20) == 0) {
      listener.reader.refreshSilently();
      listener.rows = model.rows;
    }
    expectTold(listener, model, model.below(4) == 0 ? Look::everywhere : Look::counted);
    EXPECT_EQ(listener.reader.problem(), "");
    if (model.below(20) != 0) continue;
    EXPECT_TRUE(listener.knowsWhatIsTold(keys));
    expectFound(listener.reader.view(), model, keys);
    other.refresh(Look::counted);
    EXPECT_TRUE(other.told.empty());
    expectFound(other.reader.view(), model, keys);
    Listener late(read, Follow::yes);
    late.refresh(Look::counted);
    EXPECT_EQ(late.told.size(), model.rows.size());
    EXPECT_EQ(late.rows, model.rows);
    EXPECT_TRUE(late.reports.empty());
  }
  EXPECT_EQ(listener.reports.size(), 1U) << listener.reports.back();  // that there was none
  EXPECT_TRUE(other.reports.empty());
}

TEST(TableReaderTest, TellsEachKeyThatChangedOnceAndNoOther) {
  for (const unsigned seed : {1U, 2U, 3U, 4U})
    for (const Geometry& geometry : {tiny, Geometry{}, Geometry{64, 16, 4096, 65536}}) {
      const auto storage = memoryStorageFactory("memory");
      runModel(*storage, *storage, geometry, seed);
      const Folder folder;
      const auto written = directoryStorageFactory(folder.path, {});
      runModel(*written, *directoryStorageFactory(folder.path), geometry, seed + 100);
    }
}

/// What the listener knows turns right again, by the keys that it is told alone, when the damage is
/// mended; who comes while it is there is told at least of what can be found.
TEST(TableReaderTest, DamageIsReportedAndNothingElseIsLost) {
  constexpr std::size_t keys = 400;
  std::set<std::string> kinds;
  for (unsigned seed = 1; seed <= 150 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const auto storage = memoryStorageFactory("memory");
    Model model(*storage, seed % 3 == 0 ? Geometry{} : tiny, seed);
    for (int i = 0; i < 300; ++i) model.put(model.below(keys));
    Listener listener(*storage, Follow::yes);
    listener.refresh(Look::counted);

    const std::string kind = std::array{".head", ".dir", ".pages", ".seg"}[seed % 4];
    std::vector<std::string> files = storage->files();
    std::erase_if(files, [&](const auto& name) { return name.find(kind) == std::string::npos; });
    const std::string file = files[model.below(files.size())];
    const Mapping mapping = storage->open(file, Access::write).mapping;
    const std::vector<std::byte> good(mapping.data(), mapping.data() + mapping.size);
    const bool isHead = file == headName("rows");
    const std::size_t flips = 1 + model.below(20);
    for (std::size_t i = 0; i < flips; ++i) {
      const std::size_t at =
          (isHead ? headStateAt : 0) + model.below(isHead ? sizeof(HeadState) : mapping.size);
      mapping.data()[at] ^= static_cast<std::byte>(1U << model.below(8));
    }
    listener.refresh(Look::everywhere);
    std::size_t found = 0;
    Listener late(*storage, Follow::yes);
    late.refresh(Look::everywhere);
    for (Key key = 0; key < keys; ++key) {
      const std::uint64_t version = versionIn(listener.reader.view(), key);
      found += version != 0;
      const auto row = model.rows.find(key);  // a damaged word may lead to an older row of the key
      EXPECT_LE(version, row == model.rows.end() ? 0 : row->second);
      EXPECT_TRUE(versionIn(late.reader.view(), key) == 0 || late.rows.contains(key)) << file;
    }
    // What a record holds is checked. An index may be damaged so that it makes sense.
    if (found < model.rows.size() && !late.reports.empty()) kinds.insert(kind);
    for (const Listener* one : {&listener, &late})
      EXPECT_TRUE(kind != ".seg" || found == model.rows.size() || !one->reports.empty()) << file;
    for (Listener* one : {&listener, &late}) {
      const std::size_t reports = one->reports.size();
      one->refresh(Look::everywhere);
      EXPECT_EQ(one->reports.size(), reports) << "reported again: " << one->reports.back();
    }
    std::memcpy(mapping.data(), good.data(), good.size());
    listener.refresh(Look::everywhere);
    EXPECT_EQ(listener.rows, model.rows) << file;
    expectFound(listener.reader.view(), model, keys);
  }
  EXPECT_TRUE(kinds.contains(".dir") && kinds.contains(".pages") && kinds.contains(".seg"));
}

TEST(TableReaderTest, StaysWithTheOldRowsUntilThereAreNewOnes) {
  const auto storage = memoryStorageFactory("memory");
  Model model(*storage, tiny, 1);
  for (Key key = 0; key < 100; ++key) model.put(key);
  Listener listener(*storage, Follow::yes);
  listener.refresh(Look::counted);
  const TableView::Pin pin(listener.reader.view());
  const Key key = 7;
  const Record row = listener.reader.view().find<8>(reinterpret_cast<const std::byte*>(&key));

  for (const std::string& file : storage->files()) storage->remove(file);
  listener.refresh(Look::everywhere);
  EXPECT_TRUE(listener.told.empty());
  EXPECT_EQ(listener.reader.problem(), storage->open("rows.head", Access::read).text);
  expectFound(listener.reader.view(), model, 200);

  Model anew(*storage, tiny, 2);  // its sequences are those of the old rows, their content is not
  anew.put(200), anew.put(3), anew.put(7);
  listener.refresh(Look::everywhere);
  EXPECT_EQ(listener.told.size(), 101U);
  EXPECT_EQ(listener.rows, anew.rows);
  EXPECT_EQ(listener.reader.problem(), "");
  EXPECT_EQ(std::memcmp(row.row, Row(7, 8).bytes(), row.bytes), 0) << "pinned";
}

/// Meant for ThreadSanitizer as well.
TEST(TableReaderTest, FollowsAWriterInAnotherThread) {
  constexpr std::size_t keys = 300;
  for (const unsigned seed : {1U, 2U, 3U}) {
    LockedStorage storage(memoryStorageFactory("memory"));
    Model model(storage, seed == 3 ? Geometry{} : tiny, seed);
    Listener listener(storage, Follow::yes);
    listener.refresh(Look::counted);
    std::atomic<bool> done = false;
    std::thread writer([&] {
      for (int i = 0; i < 20000; ++i) {
        if (i % 5000 == 4999) model.writer().renew();
        else if (model.below(3) == 0) model.remove(model.below(keys));
        else model.put(model.below(keys));
      }
      done = true;
    });
    std::map<Key, std::uint64_t> seen;
    for (int turn = 0; !done; ++turn) {
      listener.refresh(turn % 16 == 0 ? Look::everywhere : Look::counted);
      EXPECT_EQ(std::ranges::adjacent_find(listener.told), listener.told.end()) << "told twice";
      EXPECT_TRUE(listener.knowsWhatIsTold(keys));
      for (Key key = 0; key < keys; ++key)
        if (const std::uint64_t version = versionIn(listener.reader.view(), key)) {
          EXPECT_LE(seen[key], version);
          seen[key] = version;
        }
    }
    writer.join();
    listener.refresh(Look::counted);
    EXPECT_EQ(differences(listener.rows, model.rows), std::vector<Key>{});
    EXPECT_TRUE(listener.reports.empty()) << listener.reports.front();
    listener.refresh(Look::everywhere);
    EXPECT_TRUE(listener.told.empty()) << "counters have missed a change";
  }
}

}  // namespace
}  // namespace Tarn
