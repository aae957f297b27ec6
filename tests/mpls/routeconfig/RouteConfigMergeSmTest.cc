#include "mpls/routeconfig/RouteConfigMergeSm.h"

#include "tests/mpls/routeconfig/MergeFixture.h"
#include "tests/support/Checks.h"

namespace Mpls {
namespace {

using Checks::raised;
using Forma::NullException;
using Told = std::map<RouteKey, int>;

using RouteConfigMergeSmTest = MergeFixture;

TEST_F(RouteConfigMergeSmTest, ReadersHearOfWhatChangesAndOfNothingElse) {
  const auto route = staticInput->newRoute(key(1));
  const auto bgp = dynamic("bgp"), ldp = dynamic("ldp");
  start();
  loop.runUntilIdle();
  route->viaIs(via(200), true);
  route->viaIs(via(200), true);
  route->dynamicIs(true);
  EXPECT_EQ(reader.told, (Told{{key(1), 3}}));

  bgp->newRoute(key(1));
  EXPECT_FALSE(merged->route(key(1)));
  reader.told.clear();
  ldp->newRoute(key(1));  // a third claim on a key that is withdrawn
  route->viaDelAll();
  EXPECT_TRUE(reader.told.empty());
  ldp->routeDel(key(1));
  staticInput->routeDel(key(1));
  EXPECT_EQ(merged->route(key(1)), bgp->route(key(1)));
  route->dynamicIs(false);  // no longer anybody's route
  EXPECT_EQ(reader.told, (Told{{key(1), 1}}));
}

TEST_F(RouteConfigMergeSmTest, ReadyOnceAllInputsOfTheStartAreMerged) {
  dynamic("bgp")->newRoute(key(1));
  dynamic("static")->newRoute(key(2));
  staticInput->newRoute(key(2));
  start();
  EXPECT_FALSE(merged->ready());
  EXPECT_EQ(sm->pendingMounts(), 2U);
  loop.runUntilIdle();
  EXPECT_TRUE(merged->ready() && merged->route(key(1)));
  EXPECT_FALSE(merged->route(key(2))) << "a dynamic input of the static name is another source";

  dynamic("rsvp")->newRoute(key(3));
  loop.runUntilIdle();
  EXPECT_TRUE(merged->route(key(3)));
  EXPECT_EQ(reader.ready, 1);
}

TEST_F(RouteConfigMergeSmTest, ReplacedInputsAndDeletedMachinesFollowNoLonger) {
  start();
  const auto before = routeConfigInputFactory("x"), after = routeConfigInputFactory("x");
  before->newRoute(key(1));
  before->newRoute(key(2));
  after->newRoute(key(2));
  sm->configIs("x", before);
  sm->configIs("x", after);
  before->newRoute(key(3));
  EXPECT_EQ(merged->routes(), 1U);
  EXPECT_EQ(merged->route(key(2)), after->route(key(2)));
  sm = nullptr;
  after->newRoute(key(4));
  EXPECT_EQ(merged->routes(), 1U);
}

TEST_F(RouteConfigMergeSmTest, AReaderThatThrowsDoesNotHoldUpWhatFollows) {
  const auto next = routeConfigInputFactory("bgp");
  for (std::uint32_t label = 2; label <= 5; ++label) next->newRoute(key(label));
  struct Meddler : RouteConfig::NotifieeConst {
    void onRoute(const RouteKey& k) override {
      if (k == key(3)) input->routeDel(key(2));
      throw Forma::RangeException("from a reader");
    }
    RouteConfigInput* input = nullptr;
  } meddler;
  meddler.input = next.get();
  meddler.notifierIs(merged);
  loop.exceptionHandlerIs([](const std::exception_ptr&) {});
  dynamic("bgp")->newRoute(key(1));
  start();
  loop.runUntilIdle();
  EXPECT_EQ(loop.handlerExceptions(), 1U);
  EXPECT_TRUE(merged->ready() && merged->route(key(1)));
  EXPECT_EQ(raised([&] { sm->configIs("bgp", next); }), "from a reader");
  EXPECT_EQ(merged->routes(), 3U) << "one was deleted on the way";
  EXPECT_EQ(raised([&] { sm->configIs("bgp", staticInput); }), "from a reader");
  EXPECT_EQ(merged->routes(), 0U) << "the keys of the replaced input are gone";
}

TEST_F(RouteConfigMergeSmTest, TracesSayWhatHappened) {
  const auto bgp = routeConfigInputFactory("bgp");
  bgp->newRoute(key(1));
  start();
  sm->configIs("bgp", bgp);
  const std::string k(valueToStrep(key(1)).view());
  EXPECT_EQ(Checks::traced("RouteConfigM*/8", [&] { staticInput->newRoute(key(1)); }),
            "handleConfigEntry for static, key " + k + "\nsetOutputForEntry for key " + k +
                "\nsetOutputForEntry removed merge confict entry for " + k +
                " with source count 2\n");
}

TEST_F(RouteConfigMergeSmTest, NullArgumentsAreRefused) {
  EXPECT_EQ(
      raised<NullException>([&] { routeConfigMergeSmFactory(nullptr, dir, staticInput, em); }),
      "null _routeConfig parameter to mutator for Mpls::RouteConfigMergeSm::routeConfig not "
      "allowed");
  EXPECT_EQ(raised<NullException>([&] { routeConfigMounterFactory("x", sm); }), "null ValidPtr");
  start();
  EXPECT_EQ(raised<NullException>([this] { sm->configIs("x", nullptr); }),
            "null _config parameter to mutator for Mpls::RouteConfigMergeSm::config not allowed");
}

using RouteConfigMergeSmDeathTest = MergeFixture;

TEST_F(RouteConfigMergeSmDeathTest, BrokenRulesEndTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  merged->routeIs(routeFactory(key(1)));
  EXPECT_DEATH(start(),
               "assertion failed\\(!mergedConfig\\(\\)->routes\\(\\)\\): merged config "
               "should not have any routes on startup");
  merged->routeDelAll();
  merged->readyIs(true);
  EXPECT_DEATH(start(),
               "\\(!mergedConfig\\(\\)->ready\\(\\)\\): merged config should not be ready "
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
