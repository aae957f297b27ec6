// Random changes of inputs, late inputs and mounts in any order: the incremental output equals a
// fresh computation, and readers were told of exactly the keys that differ.
#include <random>

#include "tests/mpls/routeconfig/MergeFixture.h"

namespace Mpls {
namespace {

/// What a reader sees of one route.
using Content = std::pair<std::set<std::string>, bool>;
using Table = std::map<RouteKey, Content>;

Content contentOf(const Route& route) {
  Content content{{}, route.dynamic()};
  for (const auto& one : route.viaIteratorConst())
    content.first.insert(std::string(valueToStrep(one.key).view()));
  return content;
}

class MergeModelTest : public MergeFixture, public ::testing::WithParamInterface<unsigned> {
 protected:
  unsigned below(unsigned n) { return static_cast<unsigned>(random() % n); }
  RouteKey anyKey() { return key(16 + below(12), static_cast<std::uint8_t>(below(2))); }

  /// The rule of the merge, computed from nothing.
  Table expected() const {
    std::map<RouteKey, std::vector<const Route*>> claims;
    const auto add = [&](const RouteConfigInput& from) {
      for (const auto& one : from.routeIteratorConst()) claims[one.key].push_back(one.value.get());
    };
    add(*staticInput);
    for (const auto& name : names)
      if (const auto source = sm->config(name)) add(*source);
    Table table;
    for (const auto& [k, routes] : claims)
      if (routes.size() == 1) table[k] = contentOf(*routes[0]);
    return table;
  }
  Table actual() const {
    Table table;
    for (const auto& one : merged->routeIteratorConst()) table[one.key] = contentOf(*one.value);
    return table;
  }

  void change(RouteConfigInput& input) {
    const RouteKey k = anyKey();
    const auto route = input.route(k);
    switch (below(6)) {
      case 0:
        input.routeDel(k);
        break;
      case 1:
        if (route) route->dynamicIs(below(2) != 0);
        break;
      case 2:
        if (route) route->viaDelAll();
        break;
      case 3:
        if (below(40) == 0) input.routeDelAll();
        break;
      default:
        input.routeIs(k)->viaIs(via("10.0.0.1", 100 + below(3)), below(2) != 0);
    }
  }
  void step() {
    if (names.size() < 5 && below(40) == 0) {
      names.push_back("dynamic" + std::to_string(names.size()));
      dynamic(names.back());
    }
    const unsigned which = below(static_cast<unsigned>(names.size()) + 1);
    change(which == 0 ? *staticInput : *dynamic(names[which - 1]));
    if (below(4) == 0) loop.runOnce(0);
  }

  /// Every key that differs was told. Keys that were told and do not differ went away and came
  /// back, or changed content and back, within the step: the reader's copy cannot know.
  void check(const Table& before) {
    const Table now = actual();
    ASSERT_EQ(now, expected());
    std::set<RouteKey> keys;
    for (const auto& table : {before, now})
      for (const auto& one : table) keys.insert(one.first);
    for (const RouteKey& k : keys) {
      const bool same = before.contains(k) && now.contains(k) && before.at(k) == now.at(k);
      EXPECT_TRUE(same || reader.told.contains(k)) << k;
    }
  }

  std::mt19937 random{GetParam()};
  std::vector<std::string> names;
};

TEST_P(MergeModelTest, FollowsAFreshComputation) {
  SCOPED_TRACE("seed " + std::to_string(GetParam()));
  for (unsigned i = below(3); i > 0; --i) names.push_back("early" + std::to_string(i));
  for (const auto& name : names)
    for (int i = 0; i < 5; ++i) change(*dynamic(name));
  for (int i = 0; i < 5; ++i) change(*staticInput);
  start();
  for (int i = 0; i < 600; ++i) {
    const Table before = actual();
    reader.told.clear();
    step();
    check(before);
    if (HasFatalFailure()) return;
  }
  loop.runUntilIdle();
  EXPECT_EQ(actual(), expected());
  EXPECT_TRUE(merged->ready());
}

/// A change that leaves the output as it is, is told to nobody.
TEST_P(MergeModelTest, QuietWhereNothingChanges) {
  dynamic("a");
  dynamic("b");
  start();
  loop.runUntilIdle();
  for (const auto& input : {staticInput, dynamic("a")}) input->routeIs(key(1));
  const auto route = dynamic("b")->routeIs(key(2));
  reader.told.clear();
  dynamic("b")->routeIs(key(1));  // a third claim on a key that is withdrawn
  route->viaDel(via("10.0.0.9", 1));
  dynamic("a")->routeDel(key(9));
  EXPECT_TRUE(reader.told.empty());
}

INSTANTIATE_TEST_SUITE_P(Seeds, MergeModelTest, ::testing::Range(1U, 21U));

}  // namespace
}  // namespace Mpls
