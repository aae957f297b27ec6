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
  checkAgainstModel<HashMap<Counted, Counted>, Counted, Counted, false>();
  checkAgainstModel<HashMap<Counted, Counted, IdentityHash>, Counted, Counted, false>();
  checkAgainstModel<HashMap<Counted, Counted, ConstantHash>, Counted, Counted, false>();
  checkAgainstModel<HashMap<std::uint32_t, int>, std::uint32_t, int, false>();
}

TEST(HashMapTest, AFailedCopyLeavesTheMapAsItWas) {
  checkFailingCopies<HashMap<CopyOnly, CopyOnly>>();
}

TEST(HashMapTest, MemoryIsOneBlockThatFitsAndGoesWithTheLastElement) {
  struct WideKey {
    std::array<std::uint64_t, 8> words;
    bool operator==(const WideKey&) const = default;
    std::uint64_t hash() const { return words[0]; }
  };
  HashMap<WideKey, bool> map;
  static_assert(sizeof map == sizeof(void*));
  EXPECT_EQ(map.bytes(), 0U);
  map.put(WideKey{}, true);
  EXPECT_LE(map.bytes(), 104U);  // what malloc gives in a chunk of 112
  for (std::uint64_t i = 0; i < 16; ++i) map.put(WideKey{{i}}, true);
  EXPECT_LE(map.bytes(), 64U + 16 * 72);  // still without an index
  {
    const auto walk = map.begin();
    for (std::uint64_t i = 0; i < 16; ++i) map.erase(WideKey{{i}});
    EXPECT_NE(map.bytes(), 0U);
    EXPECT_TRUE(walk.done());
  }
  EXPECT_EQ(map.bytes(), 0U);
}

TEST(HashMapTest, LargeMapsGrowInPlaceAndStartAtACacheLine) {
  struct Row {
    std::uint64_t words[6];
  };
  HashMap<std::uint64_t, Row> map;
  constexpr std::uint64_t n = 300'000;  // 19 MB of slots
  for (std::uint64_t i = 0; i < n; ++i) map.insert(i, Row{{i, 1}});
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(map.find(77)) % 64, sizeof(std::uint64_t));
  for (std::uint64_t i = 0; i < n; i += 2) EXPECT_TRUE(map.erase(i));
  const HashMap<std::uint64_t, Row> copy(map);
  for (const auto* m : {&std::as_const(map), &copy}) {
    for (std::uint64_t i = 0; i < n; ++i) {
      const Row* row = m->find(i);
      ASSERT_EQ(row != nullptr, i % 2 == 1);
      if (row != nullptr) {
        ASSERT_EQ(row->words[0], i);
      }
    }
  }
}

/// Runs `then` when the last copy of the result goes.
template <class F>
std::shared_ptr<void> atEnd(F then) {
  return std::shared_ptr<void>(nullptr, [then](void*) { then(); });
}

TEST(HashMapTest, WhatIsRemovedIsDestroyedWhenTheMapIsConsistentAgain) {
  using Map = HashMap<int, std::shared_ptr<void>>;
  auto map = std::make_unique<Map>();
  int ends = 0;
  const auto meddling = [&](int key) {  // grows the map, removes from it, looks at itself
    return atEnd([&map, &ends, key] {
      ++ends;
      EXPECT_EQ(map->contains(key), map->find(key) != nullptr);
      for (int i = 0; i < 50; ++i) map->put(1000 * key + i, nullptr);
      for (int i = 0; i < 49; ++i) EXPECT_TRUE(map->erase(1000 * key + i));
    });
  };
  for (int key = 1; key <= 6; ++key) map->put(key, meddling(key));
  map->erase(1);
  EXPECT_FALSE(map->contains(1));
  map->put(2, nullptr);
  EXPECT_EQ(*map->find(2), nullptr);
  auto out = meddling(7);
  map->take(3, &out);  // what `out` held goes, too
  EXPECT_EQ(ends, 3);
  EXPECT_EQ(map->size(), 4U + 3U);
  *map = Map();
  EXPECT_EQ(ends, 6);
  EXPECT_EQ(map->size(), 3U);  // left by the destructors
  out.reset();
  map->put(8, meddling(8));
  map->clear();
  EXPECT_EQ(ends, 8);
  EXPECT_EQ(map->size(), 1U);
}

TEST(HashMapTest, AWalkOfAnEmptyMapVisitsNothingThatIsAddedAndPinsNothing) {
  HashMap<int, int> map;
  const auto walk = map.begin();
  map.put(1, 1);
  EXPECT_TRUE(walk.done());
  map.erase(1);
  EXPECT_EQ(map.bytes(), 0U);
}

TEST(HashMapTest, ABodyThatAlwaysAddsDoesNotWalkForEver) {
  HashMap<int, int> map;
  for (int i = 0; i < 10; ++i) map.put(i, i);
  for (const auto [key, value] : map) {
    map.erase(key);
    map.put(key + 100, value);
    map.put(key + 200, value);
  }
  EXPECT_EQ(map.size(), 20U);
}

TEST(HashMapTest, WalksStayWithTheirMapWhenContentsAreSwapped) {
  HashMap<int, int> a, b;
  for (int i = 0; i < 5; ++i) a.put(i, i);
  {
    const auto walkOfA = a.begin();
    a.swap(b);
    EXPECT_TRUE(walkOfA.done());
    EXPECT_NE(a.bytes(), 0U);  // for the walk
    b.clear();
    EXPECT_EQ(b.bytes(), 0U);  // no walk keeps it
  }
  EXPECT_EQ(a.bytes(), 0U);
}

TEST(HashMapTest, TooManyWalksAreRefused) {
  HashMap<int, int> map;
  map.put(1, 1);
  std::vector<HashMap<int, int>::Cursor> walks;
  walks.reserve(65'535);
  while (walks.size() < 65'535) walks.emplace_back(map);
  EXPECT_THROW(map.begin(), std::length_error);
  walks.clear();
  EXPECT_FALSE(map.begin().done());
}

}  // namespace
