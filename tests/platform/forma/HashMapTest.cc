#include "platform/forma/HashMap.h"

#include <array>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "tests/platform/forma/MapModel.h"

namespace {

using namespace MapModel;
using Forma::HashMap;

TEST(HashMapTest, RandomStepsAgreeWithAModelForGoodAndBadHashes) {
  checkAgainstModelForGoodAndBadHashes<HashMap, false>();
}

TEST(HashMapTest, SmallMapsAreOneBlockThatFits) {
  struct WideKey {
    std::array<std::uint64_t, 8> words;
    bool operator==(const WideKey&) const = default;
    std::uint64_t hash() const { return words[0]; }
  };
  HashMap<WideKey, bool> map;
  static_assert(sizeof map == sizeof(void*));
  map.put(WideKey{}, true);
  EXPECT_LE(map.bytes(), 104U);  // what malloc gives in a chunk of 112
  for (std::uint64_t i = 0; i < 16; ++i) map.put(WideKey{{i}}, true);
  EXPECT_LE(map.bytes(), 64U + 16 * 72);  // still without an index
}

TEST(HashMapTest, LargeMapsGrowInPlaceAndStartAtACacheLine) {
  using Row = std::array<std::uint64_t, 6>;
  HashMap<std::uint64_t, Row> map;
  constexpr std::uint64_t n = 300'000;  // 19 MB of slots
  for (std::uint64_t i = 0; i < n; ++i) map.insert(i, Row{i, 1});
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(map.find(77)) % 64, sizeof(std::uint64_t));
  for (std::uint64_t i = 0; i < n; i += 2) EXPECT_TRUE(map.erase(i));
  const HashMap<std::uint64_t, Row> copy(map);
  for (const auto* m : {&std::as_const(map), &copy})
    for (std::uint64_t i = 0; i < n; ++i) {
      const Row* row = m->find(i);
      ASSERT_TRUE(i % 2 == 1 ? row && row->front() == i : !row);
    }
}

TEST(HashMapTest, WhatIsRemovedIsDestroyedWhenTheMapIsConsistentAgain) {
  using Map = HashMap<int, std::shared_ptr<void>>;
  Map map;
  int ends = 0;
  const auto meddling = [&](int key) {  // at its end it grows the map, removes, looks at itself
    return std::shared_ptr<void>(nullptr, [&map, &ends, key](void*) {
      ++ends;
      EXPECT_EQ(map.contains(key), map.find(key) != nullptr);
      for (int i = 0; i < 50; ++i) map.put(1000 * key + i, nullptr);
      for (int i = 0; i < 49; ++i) EXPECT_TRUE(map.erase(1000 * key + i));
    });
  };
  for (int key = 1; key <= 6; ++key) map.put(key, meddling(key));
  map.erase(1);
  map.put(2, nullptr);
  EXPECT_TRUE(!map.contains(1) && map.contains(2) && !*map.find(2));
  auto out = meddling(7);
  map.take(3, &out);  // what `out` held goes, too
  EXPECT_TRUE(ends == 3 && map.size() == 4 + 3);
  map = Map();
  EXPECT_TRUE(ends == 6 && map.size() == 3);  // left by the destructors
  out.reset();
  map.put(8, meddling(8));
  map.clear();
  EXPECT_TRUE(ends == 8 && map.size() == 1);
}

TEST(HashMapTest, WalksStayWithTheirMapAndAreLimited) {
  HashMap<int, int> a, b;
  a.put(1, 1);
  {
    const auto walk = a.begin();
    const std::vector<HashMap<int, int>::Cursor> others(65'534, walk);
    EXPECT_THROW(a.begin(), std::length_error);
    a.swap(b);
    EXPECT_TRUE(walk.done() && a.bytes() != 0);  // for the walks
    b.clear();
    EXPECT_EQ(b.bytes(), 0U);  // no walk keeps it
  }
  EXPECT_EQ(a.bytes(), 0U);
}

}  // namespace
