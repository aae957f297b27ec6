#include "platform/tarn/FormaTarnMap.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "platform/forma/Content.h"
#include "platform/forma/Schema.h"
#include "tests/platform/tarn/TableTypes.h"

namespace TarnTest {
namespace {

using Forma::Ptr;
using testing::HasSubstr;

/// The accessors of one table.
#define TABLE_ACCESS(Access, RowType, name, newName, checked)                            \
  struct Access {                                                                        \
    using Row = RowType;                                                                 \
    using Key = Tarn::RowForm<RowType>::Key;                                             \
    static constexpr bool checks = checked;                                              \
    static constexpr std::string_view member = #name;                                    \
    static Row get(const Desk& d, const Key& k) { return d.name(k); }                    \
    static bool find(const Desk& d, const Key& k, Row* r) { return d.name##Find(k, r); } \
    static Row is(Desk& d, const Row& r) { return d.name##Is(r); }                       \
    static Row make(Desk& d, const Row& r) { return d.newName(r); }                      \
    static void commit(Desk& d, const Row& r) { d.name##Commit(r); }                     \
    static Row del(Desk& d, Key k) { return d.name##Del(k); }                            \
    static void delAll(Desk& d) { d.name##DelAll(); }                                    \
    static void notify(const Desk& d, Key k) { d.name##Notify(k); }                      \
    static auto range(const Desk& d) { return d.name##IteratorConst(); }                 \
    static auto batch(const Desk& d, std::span<const Key> k, std::span<Row> r,           \
                      std::span<bool> f) {                                               \
      return d.name##Batch(k, r, f);                                                     \
    }                                                                                    \
    static auto& table(Desk& d) { return d.name##Table(); }                              \
  };
TABLE_ACCESS(PlainAccess, PlainRow, plain, newPlain, true)
TABLE_ACCESS(ArrayAccess, ArrayRow, array, newArray, false)

/// One table of a desk beside a map that must always be equal to it. Every change goes through
/// here; what the desk calls is compared with what is under way: store, check, notify. Checks
/// throw, and callbacks change the table themselves.
template <class Access>
class Model {
 public:
  using Row = typename Access::Row;
  using Key = typename Access::Key;

  Model(Desk& desk, std::uint32_t seed) : desk_(desk), random_(seed) {
    Access::table(desk_).geometryIs({8, 8, 4096, 4096});
  }
  std::function<void()> elsewhere;  // may change anything else
  std::size_t walks = 0, thrown = 0;

  void step() {
    const Key key = anyKey();
    switch (below(12)) {
      case 0:
        return remove(key);
      case 1:
        return change(key, true, [&] { Access::notify(desk_, key); });
      case 2:
        return lookBatch();
      case 3:
        return look(key);
      case 4:
        return depth_ == 0 && !walking_ && below(200) == 0 ? removeAll() : void();
      case 5:
        return depth_ < 2 && !walking_ && below(100) == 0 ? walk() : void();
      case 6:
        return below(200) == 0 ? Access::table(desk_).writer().renew() : void();
      default:
        return write(key);
    }
  }
  void expectEqual() {
    ASSERT_EQ(Access::table(desk_).rows(), model_.size());
    std::size_t visited = 0;
    type().each(desk_, [&](const void* key, const void* row) {
      ++visited;
      const auto at = model_.find(*static_cast<const Key*>(key));
      EXPECT_TRUE(at != model_.end() && at->second == *static_cast<const Row*>(row));
    });
    EXPECT_TRUE(visited == model_.size() && type().size(desk_) == visited);
  }

  void check(const Key& key) {
    if (removing_) {
      EXPECT_EQ(model_.erase(key), 1U);
      return;
    }
    ASSERT_TRUE(!under_.empty() && under_.back().key == key && under_.back().state == stored);
    under_.back().state = checked;
    look(key);
    if (below(16) == 0) throw Stop();
  }
  void told(const Key& key) {
    if (removing_) {
      EXPECT_EQ(model_.erase(key), Access::checks ? 0U : 1U);
      return;
    }
    ASSERT_TRUE(!under_.empty() && under_.back().key == key);
    ASSERT_EQ(under_.back().state, Access::checks && !under_.back().alone ? checked : stored);
    under_.back().state = notified;
    look(key);
    if (depth_ == 3) return;
    ++depth_;
    if (below(4) == 0) remove(key);
    for (auto i = below(3); i > 0; --i) step();
    if (elsewhere && below(4) == 0) elsewhere();
    --depth_;
  }

 private:
  enum State { stored, checked, notified };
  struct Change {
    Key key;
    State state;
    bool alone;  // a notification of no change
  };

  std::uint32_t below(std::uint32_t bound) { return static_cast<std::uint32_t>(random_() % bound); }
  Key anyKey() { return Key(below(below(8) == 0 ? 4000 : 40)); }
  Row anyRow(const Key& key) {
    if constexpr (std::is_same_v<Row, PlainRow>) {
      return PlainRow(key, below(100));
    } else {
      ArrayRow row(key, std::string(1 + below(100), 'x'));
      for (std::uint32_t i = below(11); i > 0; --i) row.partIs(row.parts(), Part(true, i));
      return row;
    }
  }
  const Forma::MemberType& type() const { return *desk_.formaType().findMember(Access::member); }

  /// The model has the change already.
  template <class F>
  void change(const Key& key, bool alone, F f) {
    under_.push_back({key, stored, alone});
    try {
      f();
      EXPECT_EQ(under_.back().state, notified);
    } catch (const Stop&) {
      ++thrown;
      EXPECT_NE(under_.back().state, stored);
    }
    under_.pop_back();
  }
  void write(const Key& key) {
    const Row row = anyRow(key);
    model_.insert_or_assign(key, row);
    const auto how = below(4);
    change(key, false, [&] {
      if (how == 0) Access::commit(desk_, row);
      else if (how == 1) type().put(desk_, nullptr, &row);
      else EXPECT_TRUE((how == 2 ? Access::is : Access::make)(desk_, row) == row);
    });
  }
  void remove(Key key) {
    const auto held = model_.extract(key);
    if (held.empty()) {
      EXPECT_TRUE(Access::del(desk_, key) == Row());
      return;
    }
    gone_.insert(key);
    change(key, false, [&] {
      if (below(4) == 0) type().erase(desk_, &key);
      else EXPECT_TRUE(Access::del(desk_, key) == held.mapped());
    });
  }
  void removeAll() {
    removing_ = true;
    Access::delAll(desk_);
    removing_ = false;
    EXPECT_TRUE(model_.empty() && Access::table(desk_).rows() == 0);
  }
  void look(const Key& key) {
    const auto at = model_.find(key);
    const Row due = at == model_.end() ? Row() : at->second;
    bool found = false;
    Row row = anyRow(key);
    Access::table(desk_).safeLookup(key, found, &row);
    EXPECT_TRUE(found == (at != model_.end()) && row == due && Access::get(desk_, key) == due);
    EXPECT_EQ(Access::find(desk_, key, &row), found);
    const void* const byType = type().find(desk_, &key);
    EXPECT_TRUE(found ? byType && *static_cast<const Row*>(byType) == due : !byType);
  }
  void lookBatch() {
    std::vector<Key> keys;
    for (auto i = below(80); i > 0; --i) keys.push_back(anyKey());
    std::vector<Row> rows(keys.size());
    const auto there = std::make_unique<bool[]>(keys.size());
    const std::span<bool> found(there.get(), keys.size());
    const auto count = static_cast<std::ptrdiff_t>(Access::batch(desk_, keys, rows, found));
    EXPECT_EQ(count, std::ranges::count(found, true));
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const auto at = model_.find(keys[i]);
      EXPECT_TRUE(found[i] == (at != model_.end()) && rows[i] == (found[i] ? at->second : Row()));
    }
  }
  /// What is there throughout is met once, and all is met as it is then. Pages split meanwhile, and
  /// the table is renewed.
  void walk() {
    ++walks;
    walking_ = true;
    gone_.clear();
    std::set<Key> throughout, met;
    for (const auto& [key, row] : model_) throughout.insert(key);
    for (const auto& [key, row] : Access::range(desk_)) {
      const auto due = model_.find(key);
      ASSERT_TRUE(due != model_.end() && due->second == row);
      EXPECT_TRUE(met.insert(key).second);
      for (auto i = below(4); i > 0; --i) step();
      if (below(100) == 0) Access::table(desk_).writer().renew();
    }
    for (const Key& key : throughout) EXPECT_TRUE(met.contains(key) || gone_.contains(key));
    walking_ = false;
  }

  Desk& desk_;
  std::mt19937 random_;
  std::map<Key, Row> model_;
  std::vector<Change> under_;
  std::set<Key> gone_;  // since the walk began
  unsigned depth_ = 0;
  bool walking_ = false, removing_ = false;
};

TEST(FormaTarnMapTest, EveryOperationIsStoredThenCheckedThenTold) {
  const Ptr<Desk> desk = deskFactory("desk");
  Model<PlainAccess> plain(*desk, 1);
  Model<ArrayAccess> array(*desk, 2);
  Watcher watcher;
  watcher.notifierIs(desk);
  desk->check = [&](std::uint32_t key) { plain.check(key); };
  watcher.plain = [&](std::uint32_t key) { plain.told(key); };
  watcher.array = [&](RowKey key) { array.told(key); };
  plain.elsewhere = [&] { array.step(); };
  for (int i = 0; i < 20000 && !testing::Test::HasFailure(); ++i) {
    plain.step();
    array.step();
    if (i % 1000 == 0) plain.expectEqual(), array.expectEqual();
  }
  EXPECT_TRUE(plain.walks > 5 && array.walks > 5 && plain.thrown > 100);
  desk->plainNotifyCollection();
  EXPECT_EQ(watcher.wholes, 1);
  desk->arrayNotifyCollection();
  EXPECT_EQ(watcher.wholes, 11);
}

/// The row that a walk stands at, and the entity itself, may go.
TEST(FormaTarnMapTest, AWalkOutlivesWhatItWalks) {
  Ptr<Desk> desk = deskFactory("desk");
  for (std::uint32_t i = 0; i < 100; ++i) desk->plainCommit(PlainRow(i, i));
  std::size_t met = 0;
  PlainRow removed;
  auto& table = desk->plainTable();
  for (auto at = table.begin(); at != table.end(); ++at, ++met) {
    const PlainRow row = at->value;
    EXPECT_TRUE(table.safeRemove(at, &removed) && removed == row);
    EXPECT_FALSE(table.safeRemove(at, &removed));
  }
  EXPECT_TRUE(met == 100 && desk->plains() == 0);
  for (std::uint32_t i = 0; i < 100; ++i) desk->plainCommit(PlainRow(i, i));
  for (const auto& [key, row] : desk->plainIteratorConst()) {
    desk = nullptr;
    met += row.amount() == key ? 1 : 1000;
  }
  EXPECT_EQ(met, 200U);
}

TEST(FormaTarnMapTest, TablesAreKnownByTypeButAreNoContent) {
  const Ptr<Desk> desk = deskFactory("desk");
  desk->newPlain(PlainRow(1, 2));
  std::string content;
  Forma::encodeContent(content, *desk);
  EXPECT_EQ(content, "");
  const Forma::TypeRegistry registry;
  EXPECT_THAT(Forma::schemaText(desk->formaType(), registry),
              HasSubstr("plain: table [U32] TarnTest::PlainRow"));
  const FormaTarn::FormaTarnMapValueWrapper<PlainRow, std::uint32_t> held(desk->plain(1));
  EXPECT_TRUE(held.key() == 1 && held.value() == PlainRow(1, 2));
}

}  // namespace
}  // namespace TarnTest
