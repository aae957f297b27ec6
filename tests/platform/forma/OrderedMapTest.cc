#include "platform/forma/OrderedMap.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/platform/forma/MapModel.h"

namespace {

using namespace MapModel;
using Forma::OrderedMap;

TEST(OrderedMapTest, RandomStepsAgreeWithAModelForGoodAndBadHashes) {
  checkAgainstModel<OrderedMap<Counted, Counted>, Counted, Counted, true>();
  checkAgainstModel<OrderedMap<Counted, Counted, IdentityHash>, Counted, Counted, true>();
  checkAgainstModel<OrderedMap<Counted, Counted, ConstantHash>, Counted, Counted, true>();
  checkAgainstModel<OrderedMap<int, int>, int, int, true>();
}

TEST(OrderedMapTest, AFailedCopyLeavesTheMapAsItWas) {
  checkFailingCopies<OrderedMap<CopyOnly, CopyOnly>>();
}

TEST(OrderedMapTest, BoundsAreThoseOfAModel) {
  OrderedMap<int, int> map;
  std::map<int, int> model;
  const auto keyAt = [&](auto at) { return at == model.end() ? nullptr : &at->first; };
  const auto same = [](const int* a, const int* b) { return a == b || (a && b && *a == *b); };
  std::mt19937 random(1);
  for (int step = 0; step < 2000; ++step) {
    const int key = static_cast<int>(random() % 200);
    if (step < 300 || random() % 3 != 0) map.put(key, 0), model[key] = 0;
    else map.erase(key), model.erase(key);
    const int at = static_cast<int>(random() % 202) - 1;
    ASSERT_TRUE(same(map.first(), keyAt(model.begin())));
    ASSERT_TRUE(same(map.lowerBound(at), keyAt(model.lower_bound(at))));
    ASSERT_TRUE(same(map.after(at), keyAt(model.upper_bound(at))));
  }
  map.clear();
  EXPECT_TRUE(!map.first() && !map.after(1) && !map.lowerBound(1));
}

TEST(OrderedMapTest, ComparisonAndHashAreThoseOfTheContentsInKeyOrder) {
  std::mt19937 random(2);
  for (int i = 0; i < 3000; ++i) {
    OrderedMap<int, int> maps[2];
    std::map<int, int> models[2];
    for (int side : {0, 1})
      for (auto n = random() % 4; n > 0; --n) {
        const int key = static_cast<int>(random() % 3), value = static_cast<int>(random() % 2);
        maps[side].put(key, value), models[side][key] = value;
      }
    ASSERT_EQ(maps[0] == maps[1], models[0] == models[1]);
    ASSERT_TRUE((maps[0] <=> maps[1]) == (models[0] <=> models[1]));
    ASSERT_EQ(maps[0].hash() == maps[1].hash(), models[0] == models[1]);
  }
}

/// Counts comparisons: they tell the height of the tree.
struct Key {
  static inline int comparisons = 0;
  int n;
  bool operator==(const Key&) const = default;
  bool operator<(const Key& other) const { return ++comparisons, n < other.n; }
  std::uint64_t hash() const { return Forma::hashOf(n); }
};

TEST(OrderedMapTest, TheTreeStaysBalancedWhateverTheOrderOfChanges) {
  constexpr int n = 4096;
  std::vector<int> ascending(n);
  std::iota(ascending.begin(), ascending.end(), 0);
  const std::vector<int> descending(ascending.rbegin(), ascending.rend());
  std::vector<int> random = ascending;
  std::shuffle(random.begin(), random.end(), std::mt19937(3));
  for (const auto* order : {&std::as_const(ascending), &descending, &std::as_const(random)}) {
    OrderedMap<Key, int> map;
    for (const int key : *order) map.put(Key{key}, key);
    for (const int size : {n, n / 8}) {  // again after most of one side was removed
      while (static_cast<int>(map.size()) > size) map.erase(Key(*map.first()));
      const int limit = static_cast<int>(1.45 * std::log2(size + 2));
      for (const int key : *order) {
        Key::comparisons = 0;
        map.after(Key{key});
        ASSERT_LE(Key::comparisons, limit);
      }
    }
  }
}

TEST(OrderedMapTest, AWalkVisitsWhatIsAddedAheadOfItAndNotWhatIsAddedBehind) {
  OrderedMap<std::string, int, std::hash<std::string>> map;
  std::string visited;
  map.put("m", 1);
  for (const auto [key, value] : map) {
    visited += key;
    map.erase(key);
    if (key == "m") map.put("z", 1), map.put("a", 1), map.put("p", 1);
  }
  EXPECT_EQ(visited, "mpz");
  EXPECT_EQ(*map.first(), "a");
}

}  // namespace
