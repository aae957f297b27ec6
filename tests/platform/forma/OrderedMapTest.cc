#include "platform/forma/OrderedMap.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <random>
#include <vector>

#include "platform/forma/FewMap.h"
#include "tests/platform/forma/MapModel.h"

namespace {

using namespace MapModel;
using Forma::OrderedMap;

TEST(OrderedMapTest, RandomStepsAgreeWithAModelForGoodAndBadHashes) {
  checkAgainstModelForGoodAndBadHashes<OrderedMap, true>();
  checkAgainstModel<Forma::FewMap, std::int32_t, Forma::DefaultHash, true>();
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
  std::vector<int> order(n);
  std::iota(order.begin(), order.end(), 0);
  std::mt19937 random(3);
  for (const int kind : {0, 1, 2}) {  // ascending, descending, random
    if (kind == 1) std::ranges::reverse(order);
    if (kind == 2) std::ranges::shuffle(order, random);
    OrderedMap<Key, int> map;
    for (const int key : order) map.put(Key{key}, key);
    for (const int size : {n, n / 8}) {  // again after most of one side was removed
      while (static_cast<int>(map.size()) > size) map.erase(Key(*map.first()));
      const int limit = static_cast<int>(1.45 * std::log2(size + 2));
      map.first();  // from here on there is an order
      for (const int key : order) {
        Key::comparisons = 0;
        map.after(Key{key});
        ASSERT_LE(Key::comparisons, limit);
      }
    }
  }
}

}  // namespace
