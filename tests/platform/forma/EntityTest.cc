#include <vector>

#include "tests/platform/forma/TestTypes.h"
#include "tests/support/Checks.h"

namespace FormaTest {
namespace {

using Forma::Dir;
using Forma::Ptr;
using Log = std::vector<std::string>;

/// Writes down what it hears, then does what the case wants.
struct Listener : Sub::Notifiee {
  void say(std::string what) {
    log.push_back(std::move(what));
    if (then) then();
  }
  void onCount() override { say("count" + std::to_string(notifier()->count())); }
  void onRank(const std::uint32_t& k) override { say("rank" + std::to_string(k)); }
  void onLink(const std::uint32_t& k) override { say("link" + std::to_string(k)); }
  void onItem(const Forma::Name& k) override { say("item " + std::string(k)); }
  void onExtra() override { say("extra"); }
  Log heard() { return std::exchange(log, {}); }
  Log log;
  std::function<void()> then;
};

class EntityTest : public testing::Test {
 protected:
  EntityTest() { listener.notifierIs(sub); }
  Ptr<Sub> sub = subFactory("sub");
  Listener listener;
};

TEST_F(EntityTest, ValuesTellOnChangeOnlyAndReferencesAlways) {
  const auto item = itemFactory("i", 1);
  for (int i = 0; i < 2; ++i) {
    sub->countIs(5);
    sub->newRank(7, 0);  // a default value, but a new key
    sub->newLink(3, item);
    sub->newExtra("box");
  }
  sub->countNotify();
  EXPECT_EQ(listener.heard(), (Log{"count5", "rank7", "link3", "extra", "link3", "count5"}));
}

TEST_F(EntityTest, ValuesAreFiledUnderTheirOwnKeyAndReferencesMayBeNone) {
  struct Hears : Rack::NotifieeConst {
    void onRow(const Forma::String8& key) override { log.emplace_back(key); }
    void onBest() override { log.push_back(notifier()->best() ? "best" : "none"); }
    Log log;
  } hears;
  const auto rack = rackFactory("rack");
  hears.notifierIs(rack);
  for (const Key& one : {Key(1, "a"), Key(1, "a"), Key(2, "a")}) rack->newRow(one), rack->bestDel();
  const Forma::String8 other = "b";
  const Key row(3, "a");
  Rack::formaEntityType().findMember("row")->put(*rack, &other, &row);
  EXPECT_TRUE(rack->row("a") == Key(2, "a") && rack->row("b") == Key(3, "b") && rack->rows() == 2);
  const auto item = itemFactory("i", 1);
  rack->bestIs(item), rack->bestIs(item), rack->bestDel();
  EXPECT_EQ(hears.log, (Log{"a", "a", "b", "best", "best", "none"}));
  EXPECT_EQ(item->references(), 1U);
}

TEST_F(EntityTest, MutatorsRefuseOtherConstructorArgumentsAndNull) {
  const auto range = [](auto f) { return Checks::raised<Forma::RangeException>(f); };
  const auto null = [](auto f) { return Checks::raised<Forma::NullException>(f); };
  const auto item = sub->newItem("i", std::uint8_t{4});
  EXPECT_TRUE(sub->itemIs("i") == item && sub->itemIs("i", std::uint8_t{4}) == item);
  EXPECT_EQ(range([&] { sub->newItem("i", std::uint8_t{5}); }),
            "Reinstantiating the entity with name i where constructor parameter "
            "attribute _weight "
            "has a different value of 5 than the current value of 4 not allowed");
  sub->newExtra("a");
  EXPECT_NE(range([&] { sub->extraIs("b"); }), "nothing");
  EXPECT_EQ(null([&] { sub->newLink(1, nullptr); }),
            "null _link parameter to mutator for FormaTest::Node::link not allowed");
  EXPECT_NE(null([] { Forma::dirFactory("")->entryIs(nullptr); }), "nothing");
}

TEST_F(EntityTest, KeysMayLiveInTheElementThatGoes) {
  const Item* item = sub->newItem("a name that lives on the heap").get();
  listener.heard();
  listener.then = [&] { sub->itemDelAll(); };
  Listener last;
  last.notifierIs(sub);
  sub->itemNotify(item->name());
  EXPECT_EQ(last.log, Log(2, "item a name that lives on the heap"));
}

TEST_F(EntityTest, AParentThatFilesAnEntityNowhereIsNotTold) {
  const Ptr<Item> item = sub->newItem("i");
  listener.heard();
  item->parentIs(sub.get());
  item->levelIs(1);
  item->deletedIs(true);
  EXPECT_TRUE(listener.heard().empty() && sub->items() == 1 && item->fullName() == "sub/i");
  item->deletedIs(false);
  EXPECT_FALSE(item->isDeleted());
}

TEST_F(EntityTest, AnEntryStandsInOneDirectory) {
  const Ptr<Dir> root = Forma::dirFactory(""), left = Forma::dirFactory("left"),
                 right(new Dir("r"));
  root->entryIs(left);
  left->entryIs(sub);
  EXPECT_EQ(sub->newItem("i")->fullName(), "left/sub/item/i");
  EXPECT_EQ(Checks::raised<Forma::RangeException>([&] { left->entryIs(root); }),
            "Dir::entry that holds the directory not allowed");
  right->entryIs(sub);
  EXPECT_TRUE(!left->entrys() && sub->parent() == right.get() && !sub->isDeleted());
  right->entryIs(nodeFactory("sub"));
  EXPECT_TRUE(sub->isDeleted() && !sub->parent() && right->entry("sub") != sub);
  sub->deletedIs(true);  // not in the way of its namesake
  EXPECT_EQ(right->entrys(), 1U);
}

TEST_F(EntityTest, WalksKeepTheirEntityAndDeletionGoesInOrder) {
  bool dead = false;
  lifeHook = [&](const Forma::Entity*, bool born) { dead = !born; };
  for (const std::uint32_t k : {3U, 1U, 2U}) sub->newRank(k, 1);
  listener.heard();
  sub->rankDelAll();
  EXPECT_EQ(listener.heard(), (Log{"rank1", "rank2", "rank3"}));
  sub->newRank(1, 1);
  listener.notifierIs(nullptr);
  for (const auto& one : sub->rankIteratorConst()) {
    sub = nullptr;
    EXPECT_TRUE(one.key == 1 && !dead);
  }
  EXPECT_TRUE(dead);
  lifeHook = nullptr;
}

}  // namespace
}  // namespace FormaTest
