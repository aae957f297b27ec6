// Random changes of inputs, late inputs and mounts in any order: the incremental output equals a
// fresh computation, and readers were told of exactly the keys that differ.
#include <random>
#include <tuple>

#include "tests/mpls/routeconfig/MergeFixture.h"

namespace Mpls {
namespace {

/// What a reader sees of one route: whose it is and what it holds.
using Content = std::tuple<const Route*, std::map<Via, bool>, bool>;
using Table = std::map<RouteKey, Content>;

void addContent(Table& table, const Route& route) {
  std::map<Via, bool> vias;
  for (const auto& one : route.viaIteratorConst()) vias[one.key] = one.value;
  table[route.key()] = {&route, vias, route.dynamic()};
}

class MergeModelTest : public MergeFixture, public ::testing::WithParamInterface<unsigned> {
 protected:
  unsigned below(unsigned n) { return static_cast<unsigned>(random() % n); }
  RouteKey anyKey() { return key(16 + below(12), static_cast<std::uint8_t>(below(2))); }

  /// The rule of the merge, computed from nothing. The machine knows who claims what.
  Table expected() const {
    std::map<RouteKey, std::vector<const Route*>> claims;
    const auto add = [&](const RouteConfigInput& from) {
      for (const auto& one : from.routeIteratorConst()) claims[one.key].push_back(one.value.get());
    };
    add(*staticInput);
    for (const auto& name : names)
      if (const auto source = sm->config(name)) add(*source);
    Table table;
    for (const auto& [k, routes] : claims) {
      const SourceSet* const sources = sm->sourceSet(k);
      EXPECT_TRUE(sources && sources->sources() == routes.size()) << k;
      if (routes.size() == 1) addContent(table, *routes[0]);
    }
    EXPECT_EQ(sm->sourceSets().size(), claims.size());
    return table;
  }
  Table actual() const {
    Table table;
    for (const auto& one : merged->routeIteratorConst()) addContent(table, *one.value);
    return table;
  }

  void change(RouteConfigInput& input) {
    const RouteKey k = anyKey();
    const auto route = input.route(k);
    const unsigned action = below(240);
    if (action == 0) input.routeDelAll();
    else if (action < 60) input.routeDel(k);
    else if (action < 100 && route) route->dynamicIs(below(2) != 0);
    else if (action < 140 && route) route->viaDelAll();
    else input.routeIs(k)->viaIs(via(100 + below(3)), below(2) != 0);
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
    Table now = actual();
    ASSERT_EQ(now, expected());
    for (const auto& [k, content] : before)
      EXPECT_TRUE(reader.told.contains(k) || (now.contains(k) && now[k] == content)) << k;
    for (const auto& [k, content] : now)
      EXPECT_TRUE(reader.told.contains(k) || before.contains(k)) << k;
  }

  std::mt19937 random{GetParam()};
  std::vector<std::string> names;
};

TEST_P(MergeModelTest, FollowsAFreshComputation) {
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
  EXPECT_TRUE(merged->ready());
}

INSTANTIATE_TEST_SUITE_P(Seeds, MergeModelTest, ::testing::Range(1U, 21U));

}  // namespace
}  // namespace Mpls
