#include "mpls/routeconfig/RouteConfigMergeSm.h"

#include "tests/mpls/routeconfig/MergeFixture.h"

namespace Mpls {
namespace {

using ::testing::ElementsAre;

using RouteConfigMergeSmTest = MergeFixture;

TEST_F(RouteConfigMergeSmTest, OneSourceIsCopiedWhole) {
  staticInput->newRoute(key(100))->viaIs(via("10.0.0.1", 200), true);
  start();
  ASSERT_TRUE(merged->route(key(100)));
  EXPECT_EQ(merged->route(key(100)), staticInput->route(key(100)));
  EXPECT_TRUE(merged->ready());
  staticInput->newRoute(key(101));
  EXPECT_EQ(merged->routes(), 2U);
  staticInput->routeDel(key(100));
  EXPECT_FALSE(merged->route(key(100)));
  EXPECT_EQ(sm->sourceSet(key(100)), nullptr);
}

TEST_F(RouteConfigMergeSmTest, ConflictWithdrawsUntilOneSourceIsLeft) {
  const auto bgp = dynamic("bgp");
  start();
  loop.runUntilIdle();
  staticInput->newRoute(key(100));
  const auto theirs = bgp->newRoute(key(100));
  EXPECT_FALSE(merged->route(key(100)));
  EXPECT_EQ(sm->sourceSet(key(100))->sources(), 2U);
  staticInput->routeDel(key(100));
  EXPECT_EQ(merged->route(key(100)), theirs);
  staticInput->newRoute(key(100));
  bgp->routeDel(key(100));
  EXPECT_EQ(merged->route(key(100)), staticInput->route(key(100)));
  bgp->newRoute(key(100, 7));
  EXPECT_EQ(merged->routes(), 2U) << "another metric is another key";
}

TEST_F(RouteConfigMergeSmTest, ContentOfARouteReachesTheReaders) {
  const auto route = staticInput->newRoute(key(100));
  start();
  reader.told.clear();
  route->viaIs(via("10.0.0.1", 200), true);
  route->viaIs(via("10.0.0.1", 200), true);  // nothing changes
  route->dynamicIs(true);
  EXPECT_EQ(reader.told, (std::map<RouteKey, int>{{key(100), 2}}));
  EXPECT_EQ(merged->route(key(100))->vias(), 1U);
  staticInput->routeDel(key(100));
  reader.told.clear();
  route->dynamicIs(false);  // no longer anybody's route
  EXPECT_TRUE(reader.told.empty());
}

TEST_F(RouteConfigMergeSmTest, ReadyOnceAllInputsOfTheStartAreMerged) {
  dynamic("bgp")->newRoute(key(1));
  dynamic("ldp");
  start();
  EXPECT_FALSE(merged->ready());
  EXPECT_EQ(sm->pendingMounts(), 2U);
  loop.runOnce(0);
  loop.runUntilIdle();
  EXPECT_TRUE(merged->ready());
  EXPECT_TRUE(merged->route(key(1)));

  dynamic("rsvp")->newRoute(key(2));
  EXPECT_EQ(sm->pendingMounts(), 0U);
  EXPECT_FALSE(merged->route(key(2)));
  loop.runUntilIdle();
  EXPECT_TRUE(merged->route(key(2)));
  EXPECT_EQ(reader.ready, 1);
}

TEST_F(RouteConfigMergeSmTest, DynamicInputOfTheStaticNameIsASourceOfItsOwn) {
  const auto other = dynamic("static");
  start();
  loop.runUntilIdle();
  staticInput->newRoute(key(100));
  other->newRoute(key(100));
  EXPECT_EQ(sm->configs(), 2U);
  EXPECT_FALSE(merged->route(key(100)));
  other->routeDel(key(100));
  EXPECT_TRUE(merged->route(key(100)));
}

TEST_F(RouteConfigMergeSmTest, ReplacedInputLeavesNothingBehind) {
  start();
  const auto before = routeConfigInputFactory("x");
  before->newRoute(key(1));
  before->newRoute(key(2));
  sm->configIs("x", before);
  const auto after = routeConfigInputFactory("x");
  after->newRoute(key(2));
  sm->configIs("x", after);
  EXPECT_FALSE(merged->route(key(1)));
  EXPECT_EQ(merged->route(key(2)), after->route(key(2)));
  before->newRoute(key(3));
  EXPECT_FALSE(merged->route(key(3)));
}

TEST_F(RouteConfigMergeSmTest, ReadersMayChangeInputsAndThrow) {
  struct Meddler : RouteConfig::NotifieeConst {
    void onRoute(const RouteKey& k) override {
      if (k == key(1)) input->routeDel(key(2));
      if (k == key(3)) throw Forma::RangeException("from a reader");
    }
    RouteConfigInput* input = nullptr;
  } meddler;
  for (std::uint32_t label = 1; label <= 4; ++label) staticInput->newRoute(key(label));
  meddler.input = staticInput.get();
  meddler.notifierIs(merged);
  EXPECT_THROW(start(), Forma::RangeException);  // when the pass is over
  EXPECT_EQ(merged->routes(), 3U);
  EXPECT_FALSE(merged->route(key(2)));
}

TEST_F(RouteConfigMergeSmTest, AReaderThatThrowsDoesNotHoldUpWhatFollows) {
  struct Thrower : RouteConfig::NotifieeConst {
    void onRoute(const RouteKey&) override { throw Forma::RangeException("from a reader"); }
  } thrower;
  thrower.notifierIs(merged);
  loop.exceptionHandlerIs([](const std::exception_ptr&) {});
  const auto bgp = dynamic("bgp");
  bgp->newRoute(key(1));
  start();
  loop.runUntilIdle();
  EXPECT_EQ(loop.handlerExceptions(), 1U);
  EXPECT_EQ(merged->route(key(1)), bgp->route(key(1)));
  EXPECT_TRUE(merged->ready());
  EXPECT_THROW(sm->configIs("bgp", routeConfigInputFactory("bgp")), Forma::RangeException);
  EXPECT_FALSE(merged->route(key(1)));
  const auto next = routeConfigInputFactory("bgp");
  next->newRoute(key(2));
  EXPECT_THROW(sm->configIs("bgp", next), Forma::RangeException);
  EXPECT_THROW(sm->configIs("bgp", staticInput), Forma::RangeException);
  EXPECT_EQ(merged->routes(), 0U) << "the keys of the replaced input are gone";
}

TEST_F(RouteConfigMergeSmTest, MachineUnregistersAndLeavesItsOutput) {
  staticInput->newRoute(key(1));
  start();
  sm = nullptr;
  staticInput->newRoute(key(2));
  EXPECT_EQ(merged->routes(), 1U);
}

TEST_F(RouteConfigMergeSmTest, TracesSayWhatHappened) {
  std::vector<std::string> lines;
  Forma::traceSinkIs([&](const Forma::TraceMessage& m) { lines.emplace_back(m.text); });
  Forma::traceLevelsIs("RouteConfigM*/8");
  const auto bgp = dynamic("bgp");
  bgp->newRoute(key(1));
  start();
  loop.runUntilIdle();
  lines.clear();
  staticInput->newRoute(key(1));
  Forma::traceLevelsIs("");
  Forma::traceSinkIs({});
  const std::string k =
      "Value('Mpls::RouteKey', ** {'topLabel': 1, 'metric': "
      "Value('Mpls::RouteMetric', ** {'value': 0})})";
  EXPECT_THAT(
      lines, ElementsAre("handleConfigEntry for static, key " + k, "setOutputForEntry for key " + k,
                         "setOutputForEntry removed merge confict entry for " + k +
                             " with source count 2"));
}

TEST_F(RouteConfigMergeSmTest, NullArgumentsAreRefused) {
  const auto message = [](const std::function<void()>& call) -> std::string {
    try {
      call();
    } catch (const Forma::NullException& e) {
      return e.what();
    }
    return "nothing raised";
  };
  EXPECT_EQ(message([&] { routeConfigMergeSmFactory(nullptr, dir, staticInput, em); }),
            "null _routeConfig parameter to mutator for Mpls::RouteConfigMergeSm::routeConfig not "
            "allowed");
  EXPECT_EQ(message([&] { routeConfigMergeSmFactory(merged, nullptr, staticInput, em); }),
            "null ValidPtr");
  EXPECT_EQ(message([&] { routeConfigMounterFactory("x", nullptr); }), "null ValidPtr");
  start();
  EXPECT_EQ(message([&] { sm->configIs("x", nullptr); }),
            "null _config parameter to mutator for Mpls::RouteConfigMergeSm::config not allowed");
}

using RouteConfigMergeSmDeathTest = MergeFixture;

TEST_F(RouteConfigMergeSmDeathTest, BrokenRulesEndTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  merged->routeIs(routeFactory(key(1)));
  EXPECT_DEATH(start(),
               "assertion failed\\(!mergedConfig\\(\\)->routes\\(\\)\\):merged config "
               "should not have any routes on startup");
  merged->routeDelAll();
  merged->readyIs(true);
  EXPECT_DEATH(start(),
               "\\(!mergedConfig\\(\\)->ready\\(\\)\\):merged config should not be ready "
               "on startup");
  merged = routeConfigFactory("config");
  dynamic("bgp");
  start();
  EXPECT_DEATH(dir->entryDel("bgp"), "unhandled config-input removal of entry bgp");
  const auto mounter = routeConfigMounterFactory("gone", sm);
  EXPECT_DEATH(mounter->doMountsComplete(Centrum::mountSuccess(), em), "internal error for gone");
  EXPECT_DEATH(mounter->doMountsComplete(Centrum::mountRefused(), em),
               "mountStatus == Centrum::mountSuccess\\(\\)(.|\n)*invalid mountStatus mountRefused");
}

}  // namespace
}  // namespace Mpls
