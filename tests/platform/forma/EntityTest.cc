#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/platform/forma/TestTypes.h"

namespace FormaTest {
namespace {

using Forma::Ptr;
using Log = std::vector<std::string>;

/// Writes down what it hears, then does what the case wants.
struct Listener : Sub::Notifiee {
  explicit Listener(Log& to, std::string as = "") : log(to), id(std::move(as)) {}
  void say(std::string what) {
    log.push_back(id + what);
    if (then) then();
  }
  void onCount() override { say("count=" + std::to_string(notifier()->count())); }
  void onRank(const std::uint32_t& k) override { say("rank" + std::to_string(k)); }
  void onLink(const std::uint32_t& k) override { say("link" + std::to_string(k)); }
  void onItem(const Key& k) override { say("item" + std::to_string(k.number())); }
  void onExtra() override { say("extra"); }
  void onPort(const std::uint32_t& k) override { say("port" + std::to_string(k)); }
  Log& log;
  std::string id;
  std::function<void()> then;
};
struct NodeListener : Node::NotifieeConst {
  void onCount() override { ++heard; }
  void onItem(const Key& k) override { ++heard, last = k; }
  int heard = 0;
  Key last;
};

class EntityTest : public testing::Test {
 protected:
  EntityTest() { listener.notifierIs(sub); }
  Log heard() { return std::exchange(log, {}); }
  template <class E, class F>
  static std::string error(F f) {
    try {
      f();
    } catch (const E& e) {
      return e.what();
    }
    return "no error";
  }

  Ptr<Sub> sub = subFactory("sub");
  Log log;
  Listener listener{log};
};

TEST_F(EntityTest, ValuesTellOnChangeOnlyAndPointersAlways) {
  sub->countIs(0);
  EXPECT_EQ(heard(), Log{});
  sub->countIs(5);
  sub->countIs(5);
  sub->countNotify();
  EXPECT_EQ(heard(), (Log{"count=5", "count=5"}));
  sub->rankIs(7, 0);  // a default value, but a new key
  sub->rankIs(7, 0);
  sub->rankDel(8);
  sub->rankDel(7);
  EXPECT_EQ(heard(), (Log{"rank7", "rank7"}));
  const auto item = itemFactory(Key(1), 1);
  sub->linkIs(3, item);
  sub->newLink(3, item);
  EXPECT_EQ(heard(), (Log{"link3", "link3"}));
  sub->newPort(4);
  sub->newPort(4);
  sub->newExtra("box");
  sub->newExtra("box");
  EXPECT_EQ(heard(), (Log{"port4", "extra"}));
}

TEST_F(EntityTest, GetOrCreateRefusesOtherConstructorArguments) {
  const auto item = sub->newItem(Key(1), std::uint8_t{4});
  EXPECT_EQ(sub->itemIs(Key(1)), item);
  EXPECT_EQ(sub->itemIs(Key(1), std::uint8_t{4}), item);
  EXPECT_EQ(error<Forma::RangeException>([&] { sub->newItem(Key(1), std::uint8_t{5}); }),
            "Reinstantiating the entity with name 1 where constructor parameter attribute _weight "
            "has a different value of 5 than the current value of 4 not allowed");
  sub->newExtra("a");
  EXPECT_EQ(error<Forma::RangeException>([&] { sub->extraIs("b"); }),
            "Reinstantiating the entity with name a where constructor parameter attribute _name "
            "has a different value of 'b' than the current value of 'a' not allowed");
  EXPECT_EQ(error<Forma::NullException>([&] { sub->newLink(1, nullptr); }),
            "null _link parameter to mutator for FormaTest::Node::link not allowed");
  EXPECT_EQ(sub->links(), 0U);
}

TEST_F(EntityTest, KeysMayLiveInTheElementThatGoes) {
  NodeListener last;
  last.notifierIs(sub);
  const Item* item = sub->newItem(Key(2, "a tag on the heap")).get();
  listener.then = [&] { sub->itemDelAll(); };
  sub->itemNotify(item->key());
  EXPECT_EQ(last.last, Key(2, "a tag on the heap"));
  EXPECT_EQ(sub->items(), 0U);
}

TEST_F(EntityTest, DeletionMarksDetachAndTell) {
  const Ptr<Item> item = sub->newItem(Key(1));
  const Ptr<Box> box = sub->newExtra("box");
  heard();
  item->deletedIs(true);
  box->deletedIs(true);
  EXPECT_EQ(heard(), (Log{"item1", "extra"}));
  EXPECT_TRUE(!sub->item(Key(1)) && !sub->extra() && item->isDeleted() && !item->parent());
  const Ptr<Item> next = sub->newItem(Key(1));
  heard();
  next->parentIs(sub.get());  // a parent that files it nowhere
  next->levelIs(1);
  next->deletedIs(true);
  EXPECT_EQ(heard(), Log{});
  EXPECT_EQ(next->fullName(), "sub/1");
  sub->itemDelAll();
  next->deletedIs(false);
  EXPECT_FALSE(next->isDeleted());
}

TEST_F(EntityTest, NamesArePathsFromTheRoot) {
  const Ptr<Forma::Dir> root = Forma::dirFactory("");
  root->entryIs(sub);
  EXPECT_EQ(sub->fullName(), "sub");
  EXPECT_EQ(sub->newItem(Key(3))->fullName(), "sub/item/3");
  EXPECT_EQ(sub->newExtra("x")->fullName(), "sub/extra/x");
}

TEST_F(EntityTest, AnEntryStandsInOneDirectory) {
  const Ptr<Forma::Dir> left = Forma::dirFactory("left"), right = Forma::dirFactory("right");
  const Ptr<Node> other = nodeFactory("sub");
  left->entryIs(sub);
  right->entryIs(sub);
  EXPECT_TRUE(!left->entrys() && sub->parent() == right.get() && !sub->isDeleted());
  right->entryIs(other);
  EXPECT_TRUE(sub->isDeleted() && !sub->parent() && right->entry("sub") == other);
  sub->deletedIs(true);  // not in the way of its namesake
  EXPECT_EQ(right->entrys(), 1U);
  EXPECT_EQ(error<Forma::NullException>([&] { right->entryIs(nullptr); }),
            "null _entry parameter to mutator for Forma::Dir::entry not allowed");
}

TEST_F(EntityTest, NestedChangesAreToldFirstAndHandlersReadTheNewest) {
  Listener second(log, "2:");
  second.notifierIs(sub);
  listener.then = [&] {
    listener.then = nullptr;
    sub->countIs(2);
  };
  sub->countIs(1);
  EXPECT_EQ(heard(), (Log{"count=1", "count=2", "2:count=2", "2:count=2"}));
}

TEST_F(EntityTest, LivesUntilWalksEnd) {
  const int before = living;
  Ptr<Sub> walked = subFactory("walked");
  walked->newRank(1, 1);
  walked->newRank(2, 2);
  std::int32_t sum = 0;
  for (const auto& [key, value] : walked->rankIteratorConst()) {
    walked = nullptr;
    sum += value;
  }
  EXPECT_EQ(sum, 3);
  EXPECT_EQ(living, before);
}

TEST_F(EntityTest, WeakObserversDoNotKeepAndAreUnbound) {
  NodeListener weak, other;
  weak.isWeakReferenceIs(true);
  weak.notifierIs(sub);
  other.notifierIs(sub);
  other.isWeakReferenceIs(true);
  EXPECT_EQ(sub->references(), 2U);
  sub->countIs(1);
  EXPECT_EQ(weak.heard + other.heard, 2);
  other.isWeakReferenceIs(false);
  listener.notifierIs(nullptr);
  sub = nullptr;
  ASSERT_NE(weak.notifier(), nullptr);
  EXPECT_EQ(weak.notifier()->count(), 1);
  other.isWeakReferenceIs(true);  // gives the last reference away
  EXPECT_TRUE(!weak.notifier() && !other.notifier());
}

TEST_F(EntityTest, DyingEntitiesTellNobodyAndMayWalkThemselves) {
  const int before = living;
  struct : Box::NotifieeConst {
    void onOpen(const std::uint32_t&) override { ++heard; }
    int heard = 0;
  } weak;
  Ptr<Box> box(new Box("box"));
  weak.isWeakReferenceIs(true);
  weak.notifierIs(box);
  box->newOpen(1, 1);
  box = nullptr;  // its destructor deletes all that is open
  EXPECT_EQ(weak.heard, 1);
  EXPECT_EQ(living, before);
}

TEST_F(EntityTest, DeletingAllTellsEachInOrder) {
  for (std::uint32_t k : {3U, 1U, 2U}) sub->newRank(k, 1);
  heard();
  listener.then = [&] { sub->newRank(1, 5); };  // behind the walk
  sub->rankDelAll();
  EXPECT_EQ(sub->ranks(), 1U);
  EXPECT_EQ(heard().front(), "rank1");
}

}  // namespace
}  // namespace FormaTest
