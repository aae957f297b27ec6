/// What people are told of a merge that may lag behind its inputs, against a model.
#include "agents/routes/MergedView.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using namespace StaticRoutes;
using Kind = Change::Kind;

Mpls::Via via(std::uint32_t outLabel) {
  return {Netbase::IpGenAddr("10.0.0.1"), Netbase::swap_, outLabel, false};
}

class MergedViewTest : public testing::Test {
 protected:
  std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(random() % limit); }

  void changeInput() {
    Mpls::RouteConfigInput& input = const_cast<Mpls::RouteConfigInput&>(*inputs[below(3)].input);
    const Mpls::RouteKey key(below(6), 100);
    input.routeDel(key);
    if (below(3) != 0) input.routeIs(key)->viaIs(via(below(2)), true);
  }
  /// What the merge does with one key.
  void merge(const Mpls::RouteKey& key) {
    Forma::Ptr<Mpls::Route const> route;
    int claims = 0;
    for (const NamedInput& one : inputs) {
      if (!one.input->route(key)) continue;
      route = one.input->route(key);
      ++claims;
    }
    if (claims != 1) return merged->routeDel(key);
    const Forma::Ptr<Mpls::Route> copy = Mpls::routeFactory(key);  // as a replica holds it
    for (const auto& one : route->viaIteratorConst()) copy->viaIs(one.key, true);
    merged->routeIs(Forma::Ptr<Mpls::Route const>(copy));
  }
  /// Brings `told` up to date, as somebody who reads each line would.
  void read(const Change& change) {
    const auto shown = told.routes.find(change.key);
    switch (change.kind) {
      case Kind::routeAdded:
      case Kind::routeChanged:
        EXPECT_EQ(shown != told.routes.end(), change.kind == Kind::routeChanged);
        EXPECT_FALSE(shown != told.routes.end() && shown->second == change.route);
        told.routes[change.key] = change.route;
        break;
      case Kind::routeRemoved:
        ASSERT_NE(shown, told.routes.end());
        EXPECT_TRUE(shown->second == change.route);
        told.routes.erase(shown);
        break;
      case Kind::conflictEnded:
        EXPECT_EQ(told.conflicts.erase(change.key), 1u);
        break;
      default:
        EXPECT_EQ(told.conflicts.contains(change.key), change.kind == Kind::conflictChanged);
        EXPECT_NE(told.conflicts[change.key], change.claimants);
        told.conflicts[change.key] = change.claimants;
    }
  }
  void expectTruth() const {
    MergedView truth;
    for (std::uint32_t label = 0; label < 6; ++label) {
      const Mpls::RouteKey key(label, 100);
      Claimants names;
      Vias vias;
      for (const NamedInput& one : inputs) {
        if (!one.input->route(key)) continue;
        names.push_back(one.name);
        for (const auto& each : one.input->route(key)->viaIteratorConst()) vias.insert(each.key);
      }
      if (names.size() == 1) truth.routes[key] = {names.front(), vias};
      if (names.size() > 1) truth.conflicts[key] = names;
    }
    EXPECT_TRUE(told.routes == truth.routes);
    EXPECT_TRUE(told.conflicts == truth.conflicts);
  }

  std::mt19937 random;
  std::vector<NamedInput> inputs{{"fabric", Mpls::routeConfigInputFactory("fabric")},
                                 {"static", Mpls::routeConfigInputFactory("static")},
                                 {"te", Mpls::routeConfigInputFactory("te")}};
  const Forma::Ptr<Mpls::RouteConfig> merged = Mpls::routeConfigFactory("config");
  MergedView told;
};

TEST_F(MergedViewTest, WhatIsToldIsTheTruthOnceTheMergeHasCaughtUp) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  random.seed(seed);
  for (int i = 0; i < 20; ++i) changeInput();
  for (std::uint32_t label = 0; label < 6; ++label) merge({label, 100});
  MergeFollower follower(merged, {inputs[2], inputs[0]});
  told = follower.view();
  follower.inputIs(inputs[1]);
  for (int step = 0; step < 20000; ++step) {
    changeInput();
    if (below(2) == 0) merge({below(6), 100});
    const bool caughtUp = below(5) == 0;
    for (std::uint32_t label = 0; caughtUp && label < 6; ++label) merge({label, 100});
    if (!caughtUp && below(2) == 0) continue;
    for (const Change& change : follower.takeChanges()) read(change);
    EXPECT_FALSE(follower.changed());
    EXPECT_TRUE(told.routes == follower.view().routes);
    if (caughtUp) expectTruth();
    if (HasFailure()) return;
  }
}

}  // namespace
