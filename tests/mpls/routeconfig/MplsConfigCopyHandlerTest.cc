// The copy of one input of routes onto another, as a configuration session makes it.
#include "mpls/routeconfig/MplsConfigCopyHandler.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "mpls/routeconfig/CopyHandlerDir.h"
#include "mpls/routeconfig/Registration.h"
#include "platform/forma/Dir.h"
#include "tests/support/Checks.h"
#include "tests/support/ContentText.h"
#include "tests/support/RandomEntities.h"

namespace Mpls {
namespace {

struct Told : RouteConfigInput::NotifieeConst {
  void onRoute(const RouteKey& key) override { keys.insert(key); }
  std::set<RouteKey> keys;
};

class MplsConfigCopyHandlerTest : public ::testing::TestWithParam<unsigned> {
 protected:
  MplsConfigCopyHandlerTest() {
    registerRouteConfigTypes(registry);
    const auto top = Forma::dirFactory("sessions");
    dir = Forma::ptrCast<CopyHandlerDir>(top->newEntity(registry, "Mpls::CopyHandlerDir", "mpls"));
    handler = dir->newCopyHandler();
    handlers.addAllOf(top);
    told.notifierIs(running);
  }
  bool copy() { return Session::EntityCopy(handlers).copyEntity(running, candidate); }

  Forma::TypeRegistry registry;
  Forma::Ptr<CopyHandlerDir> dir;
  Forma::Ptr<MplsConfigCopyHandler> handler;
  Session::CopyHandlers handlers;
  const Forma::Ptr<RouteConfigInput> running = routeConfigInputFactory("running");
  const Forma::Ptr<RouteConfigInput> candidate = routeConfigInputFactory("candidate");
  Told told;
};

/// What differs is told, and nothing else; routes that are in both stay the objects that they are.
TEST_P(MplsConfigCopyHandlerTest, ToldAreTheKeysThatDiffer) {
  RandomEntities random(registry, GetParam());
  for (int round = 0; round < 60; ++round) {
    for (auto i = random.below(30); i > 0; --i) random.step(*candidate);
    for (auto i = random.below(10); i > 0; --i) random.step(*running);
    std::map<RouteKey, Forma::Ptr<Route>> kept;
    std::set<RouteKey> differ;
    for (const auto& one : running->routeIteratorConst()) {
      const Route* const due = candidate->routeFind(one.key);
      if (due) kept[one.key] = one.value;
      const bool equal = due && difference(*one.value, *due).empty();
      EXPECT_EQ(equal, due && one.value->sameContent(*due));
      if (!equal) differ.insert(one.key);
    }
    for (const auto& one : candidate->routeIteratorConst())
      if (!running->routeFind(one.key)) differ.insert(one.key);
    told.keys.clear();
    ASSERT_TRUE(copy());
    ASSERT_EQ(told.keys, differ) << "round " << round;
    ASSERT_EQ(difference(*running, *candidate), "") << "round " << round;
    for (const auto& [key, route] : kept) ASSERT_EQ(running->route(key), route);
    told.keys.clear();
    ASSERT_TRUE(copy());
    ASSERT_TRUE(told.keys.empty());
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, MplsConfigCopyHandlerTest, ::testing::Range(1U, 11U));

using MplsConfigCopyTextTest = MplsConfigCopyHandlerTest;

TEST_F(MplsConfigCopyTextTest, TracesWhatItCopiesAndNamesWhatItCannot) {
  EXPECT_EQ(handlers.find("Mpls::RouteConfigInput"), handler.get());
  EXPECT_TRUE(handler->filteredAttribute()->attribute("route"));
  EXPECT_EQ(handler->newFilteredAttribute(), handler->filteredAttribute());
  running->newRoute({99, 0});
  for (std::uint32_t label = 100; label < 102; ++label) {
    candidate->newRoute({label, 0});
    running->newRoute({label, 0})->dynamicIs(label == 101);
  }
  const std::string key(Forma::valueToStrep(RouteKey{101, 0}).view());
  EXPECT_EQ(Checks::traced("MplsConfigCopyHandler/8", [&] { EXPECT_TRUE(copy()); }),
            "handleEntity candidate-->running\nhandleEntity Copying route " + key + "\n");

  candidate->routeDel({100, 0});
  candidate->route({101, 0})->dynamicIs(true);
  running->formaReplicaIs(Forma::Replica::copy);
  Session::EntityCopy refused(handlers);
  EXPECT_TRUE(handler->handleEntity(refused, running, candidate, "path")) << "all but the routes";
  ASSERT_EQ(refused.failures().size(), 2U);
  EXPECT_EQ(refused.failures()[0].path,
            "path.route/" + std::string(running->route({100, 0})->name()));
  EXPECT_EQ(refused.failures()[1].path, "path.route/" + key + ".dynamic");
  EXPECT_FALSE(copy());
  EXPECT_EQ(Checks::raised<Forma::NameException>(
                [&] { handler->handleEntity(refused, dir, candidate, "path"); }),
            "\"mpls\" is a Mpls::CopyHandlerDir, not a Mpls::RouteConfigInput");
}

TEST_F(MplsConfigCopyTextTest, ACopyInTheMiddleOfAWalkEndsTheProcess) {
  candidate->newRoute({100, 0});
  for (const auto& input : {candidate, running}) {
    ASSERT_TRUE(copy());
    const auto copyWithin = [&] {
      for (const auto& one : input->routeIteratorConst())
        if (one.value) copy();
    };
    EXPECT_DEATH(copyWithin(), "!rrc->iter\\(\\)");
  }
  EXPECT_FALSE(candidate->iter() || running->iter());
}

}  // namespace
}  // namespace Mpls
