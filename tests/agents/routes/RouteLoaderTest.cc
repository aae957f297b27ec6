/// How files become entities: as differences.
#include "agents/routes/RouteLoader.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "agents/routes/ConfigLoader.h"
#include "tests/agents/routes/Texts.h"
#include "tests/support/Checks.h"

namespace {

using namespace StaticRoutes;
using Routes = std::map<Mpls::RouteKey, Vias>;

Mpls::Via via(std::uint32_t outLabel) {
  return {Netbase::IpGenAddr("10.0.0.1"), Netbase::swap_, outLabel, false};
}

Mpls::RouteKey key(std::uint32_t label) { return {label, 100}; }

/// Counts what is told of each route, and the fewest vias that a route had when it was.
struct Counter : Mpls::RouteConfigInput::NotifieeConst {
  void onRoute(const Mpls::RouteKey& k) override {
    ++told[k];
    const Mpls::Route* const route = notifier()->routeFind(k);
    if (route) fewestVias = std::min(fewestVias, route->vias());
  }
  std::map<Mpls::RouteKey, int> told;
  std::size_t fewestVias = 1000;
};

Routes routesOf(const Mpls::RouteConfigInput& input) {
  Routes routes;
  for (const auto& one : input.routeIteratorConst())
    for (const auto& each : one.value->viaIteratorConst()) routes[one.key].insert(each.key);
  return routes;
}

class RouteLoaderTest : public testing::Test {
 protected:
  void load(const Routes& routes) { commit(input, candidateFrom("te", routes, true)); }

  const Forma::Ptr<Mpls::RouteConfigInput> input = Mpls::routeConfigInputFactory("te");
};

TEST_F(RouteLoaderTest, OnlyWhatDiffersIsTold) {
  load({{key(1), {via(20)}}, {key(2), {via(20), via(21)}}, {key(3), {via(20)}}});
  EXPECT_TRUE(input->route(key(1))->dynamic());
  const Forma::Ptr<Mpls::Route> kept = input->route(key(2));
  Counter counter;
  counter.notifierIs(input);
  load({{key(2), {via(21), via(22)}}, {key(3), {via(20)}}, {key(4), {via(20)}}});
  EXPECT_EQ(input->route(key(2)), kept);
  EXPECT_EQ(counter.told[key(1)], 1);  // gone
  EXPECT_EQ(counter.told[key(2)], 2);  // one via more, one less
  EXPECT_EQ(counter.told.count(key(3)), 0u);
  EXPECT_EQ(counter.told[key(4)], 3);  // there, dynamic, a via

  input->formaReplicaIs(Forma::Replica::copy);  // as when somebody else owns it now
  const Routes before = routesOf(*input);
  EXPECT_EQ(Checks::raised<std::runtime_error>([&] {
              load({{key(4), {via(20)}}, {key(5), {}}});
            }),
            "te.route/" + std::string(input->route(key(2))->name()) + ": te is a read-only copy");
  EXPECT_EQ(routesOf(*input), before);
}

TEST_F(RouteLoaderTest, ARouteIsNeverWithoutViasWhileItChanges) {
  load({{key(1), {via(20)}}});
  Counter counter;
  counter.notifierIs(input);
  load({{key(1), {via(21)}}});
  EXPECT_EQ(counter.fewestVias, 1u);
  EXPECT_EQ(counter.told[key(1)], 2);
}

TEST_F(RouteLoaderTest, AfterAnySequenceTheInputIsWhatTheLastFileSaid) {
  const auto seed = std::random_device()();
  std::mt19937 random(seed);
  const auto below = [&](unsigned bound) { return static_cast<std::uint32_t>(random() % bound); };
  for (int step = 0; step < 300; ++step) {
    Routes routes;
    for (auto n = below(8); n > 0; --n) routes[key(16 + below(10))].insert(via(16 + below(4)));
    load(routes);
    ASSERT_EQ(routesOf(*input), routes) << "seed " << seed << ", step " << step;
    Counter counter;
    counter.notifierIs(input);
    load(routes);
    ASSERT_TRUE(counter.told.empty()) << "seed " << seed << ", step " << step;
  }
}

TEST(ConfigLoaderTest, TheFirstFileWithARangeCountsAndOneSwitchesAnInterfaceOff) {
  const Netbase::IntfId a("a"), b("b");
  const ConfigSource first{"static", {{"dynamic", {{100, 10}, {1, 2, ""}}}}, {a}};
  const ConfigSource second{
      "te", {{"dynamic", {{200, 10}, {3, 4, ""}}}, {"srlb", {{300, 10}, {}}}}, {b}};
  const auto config = Mpls::configFactory("config");
  configIs(*config, viewOf({&first, &second}));
  EXPECT_EQ(config->labelRange("dynamic"), Mpls::LabelRange(100, 10));
  EXPECT_EQ(config->labelRange("srlb"), Mpls::LabelRange(300, 10));
  EXPECT_EQ(config->mplsRoutingDisabledIntfs(), 2u);
  EXPECT_TRUE(rangeConflicts({&first, &second}, first).empty());
  const auto conflicts = rangeConflicts({&first, &second}, second);
  ASSERT_EQ(conflicts.size(), 1u);
  EXPECT_EQ(lineOf("F", conflicts[0]),
            "F:3:4: expected the label range dynamic to be 100-109 as in the input static, found "
            "200-209");

  configIs(*config, viewOf({&second}));
  EXPECT_EQ(config->labelRange("dynamic"), Mpls::LabelRange(200, 10));
  EXPECT_FALSE(config->mplsRoutingDisabledIntfFind(a));
  configIs(*config, {});
  EXPECT_EQ(config->labelRanges() + config->mplsRoutingDisabledIntfs(), 0u);
}

}  // namespace
