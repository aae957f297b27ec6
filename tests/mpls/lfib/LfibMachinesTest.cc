// What the machines of the LFIB do besides following the tables: rebinding, signals of whole
// tables, observers that raise, traces, and what ends the process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <stdexcept>
#include <string>

#include "mpls/lfib/LfibIpLookupSm.h"
#include "mpls/lfib/LfibStatusSm.h"
#include "mpls/lfib/LfibTrackingSm.h"
#include "tests/support/Checks.h"

namespace Mpls {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr LFib::Source source = LFib::lfibSourceBgpL3Vpn_;
constexpr LfibViaSetKey setKey(source, 1, viaTypeIpLookup_);
constexpr LfibViaKey viaKey(source, viaTypeIpLookup_, 1);
constexpr LfibDot1qTagToVlanKey mapKey(source, 7);

RouteKey route(std::uint32_t label) { return {label, std::uint8_t{0}}; }
LfibIpLookupStatusLabelVrfAf lookup(std::uint32_t label, const char* vrf) {
  return {label, L3::VrfName(vrf), Netbase::ipv4_};
}

class LfibMachinesTest : public ::testing::Test {
 protected:
  LfibMachinesTest() {
    lfib->viaSetIs(LfibViaSet(setKey, {viaKey}));
    lfib->ipLookupViaIs({viaKey, L3::VrfName("red"), Netbase::ipv4_});
    for (const std::uint32_t label : {100U, 101U, 102U})
      lfib->lfibRouteIs({route(label), setKey, source});
  }
  Forma::Ptr<LfibTrackingSm> tracking() { return lfibTrackingSmFactory(lfib, backlog, "tracking"); }
  Forma::Ptr<LfibIpLookupSm> lookups() { return lfibIpLookupSmFactory(lfib, backlog, published); }
  /// The labels in the backlog, which is empty then.
  std::set<std::uint32_t> taken() {
    std::set<std::uint32_t> labels;
    for (const auto& one : backlog->routeKeyBacklogIteratorConst())
      labels.insert(one.key.topLabel().value());
    backlog->routeKeyBacklogDelAll();
    return labels;
  }
  const std::set<std::uint32_t> all{100, 101, 102};

  Forma::Ptr<LfibStatus> lfib = lfibStatusFactory("lfib");
  Forma::Ptr<LfibTrackingStatus> backlog = lfibTrackingStatusFactory("backlog");
  Forma::Ptr<LfibIpLookupStatus> published = lfibIpLookupStatusFactory("published");
};

TEST_F(LfibMachinesTest, TrackingHandlesWholeTablesAndOtherStatuses) {
  const auto sm = tracking();
  EXPECT_EQ(taken(), all);
  lfib->lfibRouteNotifyCollection();
  EXPECT_EQ(taken(), all);
  lfib->viaSetNotifyCollection();
  EXPECT_EQ(taken(), all);
  lfib->pwViaNotifyCollection();
  EXPECT_EQ(taken(), all) << "stands for the vias of all tables";
  lfib->ipLookupViaNotify(viaKey);
  EXPECT_TRUE(taken().empty()) << "not followed";

  const auto other = lfibStatusFactory("other");
  other->lfibRouteIs({route(200), {source, 2, viaTypeMplsIp_}, source});
  sm->lfibStatusIs(other);
  EXPECT_EQ(taken(), std::set<std::uint32_t>{200});
  lfib->lfibRouteDel(route(100));
  EXPECT_TRUE(taken().empty());
  EXPECT_EQ(sm->routeKeyToViaSetKey(route(100)), setKey) << "what vanished keeps its mapping";
  sm->lfibStatusDel();
  sm->handleLfibRoute(route(100));
  EXPECT_EQ(taken(), std::set<std::uint32_t>{100});
  EXPECT_EQ(sm->routeKeyToViaSetKey(route(100)), LfibViaSetKey());
  const auto set = sm->viaSetKeyToRouteKeySet(setKey);
  EXPECT_TRUE(set->routeKeys() == 2 && set->name() == Forma::valueToStrep(setKey));
}

/// Raises at each change.
struct Refuser : LfibTrackingStatus::NotifieeConst {
  void onRouteKeyBacklog(const RouteKey& /*key*/) override { throw std::runtime_error("refused"); }
};
struct LabelRefuser : LfibIpLookupStatus::NotifieeConst {
  void onLabelVrfAf(const LfibIpLookupStatusLabelVrfAf& /*value*/) override {
    throw std::runtime_error("refused");
  }
};

TEST_F(LfibMachinesTest, ObserversThatRaiseLoseNothing) {
  const auto sm = tracking();
  taken();
  {
    Refuser refuser;
    refuser.notifierIs(backlog);
    const auto rewrite = [&] { lfib->viaSetIs(lfib->viaSet(setKey)); };
    EXPECT_EQ(Checks::raised<std::runtime_error>(rewrite), "refused");
  }
  EXPECT_EQ(taken(), all);

  const auto lookup = lookups();
  lfib->lfibRouteNotifyCollection();
  LabelRefuser refuser;
  refuser.notifierIs(published);
  lfib->ipLookupViaIs({viaKey, L3::VrfName("blue"), Netbase::ipv4_});
  EXPECT_THROW(sm->handleVia(viaKey), std::runtime_error);
  std::set<LfibIpLookupStatusLabelVrfAf> values;
  for (const auto& one : published->labelVrfAfIteratorConst()) values.insert(one.key);
  EXPECT_EQ(values, (std::set{Mpls::lookup(100, "blue"), Mpls::lookup(101, "blue"),
                              Mpls::lookup(102, "blue")}));
}

/// Changes the via while the routes that use it are being worked through.
TEST_F(LfibMachinesTest, LookupsFollowChangesThatTheirObserversMake) {
  const auto sm = tracking();
  struct : LfibIpLookupStatus::NotifieeConst {
    void onLabelVrfAf(const LfibIpLookupStatusLabelVrfAf& /*value*/) override {
      if (auto once = std::exchange(change, nullptr)) once();
    }
    std::function<void()> change;
  } observer;
  observer.change = [&] {
    lfib->ipLookupViaIs({viaKey, L3::VrfName("blue"), Netbase::ipv4_});
    sm->handleLfibRoutes();
  };
  observer.notifierIs(published);
  const auto machine = lookups();
  for (const std::uint32_t label : all) EXPECT_TRUE(published->labelVrfAf(lookup(label, "blue")));
  EXPECT_EQ(published->labelVrfAfs(), 3U);
}

TEST_F(LfibMachinesTest, LookupsPublishAndTraceChangesOnly) {
  published->labelVrfAfIs(lookup(99, "stale"), true);
  const auto sm = tracking();
  const auto machine = lookups();
  EXPECT_TRUE(published->labelVrfAfs() == 3 && machine->vrfAfs() == 3);
  const auto traced = [](auto f) { return Checks::traced("LfibIpLookupSm/9", f); };
  const auto handle = [&] { sm->handleLfibRoute(route(100)); };
  const auto turnBlue = [&] { lfib->ipLookupViaIs({viaKey, L3::VrfName("blue"), Netbase::ipv4_}); };
  const auto reroute = [&] {
    lfib->lfibRouteIs({route(100), {source, 1, viaTypeMplsIp_}, source});
  };
  EXPECT_THAT(traced(handle), HasSubstr(" no change for label=100"));
  EXPECT_EQ(traced(turnBlue), "") << "the via alone is not followed";
  EXPECT_THAT(traced(handle), HasSubstr(" updating mapping label=100 vrfName='blue' af=ipv4"));
  EXPECT_EQ(machine->vrfAf(100), lookup(100, "blue"));
  EXPECT_THAT(traced(reroute), HasSubstr(" updating mapping label=100"));
  EXPECT_EQ(machine->vrfAf(100), LfibIpLookupStatusLabelVrfAf());
  EXPECT_FALSE(published->labelVrfAf(lookup(100, "blue")));
  LfibIpLookupVia nameless(viaKey);
  for (std::size_t i = 0; i <= L3::VrfName::maxLength(); ++i) nameless.vrfNameBufferIs(i, 'x');
  lfib->ipLookupViaIs(nameless);
  sm->handleVia(viaKey);
  EXPECT_EQ(published->labelVrfAfs(), 0U) << "what is no name is no VRF";
}

TEST_F(LfibMachinesTest, ProducersRemoveRowsOfEarlierProcessesAndTurnToOtherStatuses) {
  for (const std::uint32_t tag : {1U, 2U}) lfib->dot1qTagToVlanCompositeIs({{mapKey, tag}, 5});
  lfib->dot1qTagToVlanCollIs(mapKey)->dot1qTagToVlanIdIs(2, 6);
  const auto sm = lfibStatusProducerSmFactory(lfib);
  EXPECT_EQ(lfib->dot1qTagToVlanComposites(), 1U);
  EXPECT_EQ(lfib->dot1qTagToVlanComposite({mapKey, 2}).localVlan(), 6);
  const auto map = lfib->dot1qTagToVlanColl(mapKey);
  lfib->dot1qTagToVlanCollDel(mapKey);
  map->dot1qTagToVlanIdIs(3, 6);
  EXPECT_EQ(lfib->dot1qTagToVlanComposites(), 1U) << "its rows stay, and it is not followed";
  EXPECT_EQ(sm->dot1qTagToVlanColls(), 0U);
  const auto other = lfibStatusFactory("other");
  other->dot1qTagToVlanCollIs(mapKey)->dot1qTagToVlanIdIs(9, 9);
  sm->lfibStatusIs(other);
  EXPECT_EQ(other->dot1qTagToVlanComposites(), 1U);
  sm->lfibStatusDel();
  other->dot1qTagToVlanColl(mapKey)->dot1qTagToVlanIdDel(9);
  EXPECT_EQ(other->dot1qTagToVlanComposites(), 1U);
}

TEST_F(LfibMachinesTest, FactoriesRefuseNull) {
  const auto raised = [](auto call) { return Checks::raised<Forma::NullException>(call); };
  EXPECT_EQ(raised([] { lfibStatusProducerSmFactory(nullptr); }), "null ValidPtr");
  EXPECT_EQ(raised([] { lfibStatusConsumerSmFactory(nullptr); }), "null ValidPtr");
  EXPECT_EQ(raised([&] { lfibTrackingSmFactory(nullptr, backlog, "x"); }), "null ValidPtr");
  EXPECT_EQ(raised([&] { lfibTrackingSmFactory(lfib, nullptr, "x"); }), "null ValidPtr");
  EXPECT_EQ(raised([&] { lfibIpLookupSmFactory(lfib, backlog, nullptr); }), "null ValidPtr");
}

// ---- What ends the process: the condition, and in the ring trace the cause before it ------------

auto dies(const std::string& condition, const std::string& cause) {
  return AllOf(HasSubstr(" -- assertion failed(" + condition + "): "),
               HasSubstr("ring trace, oldest first:"), HasSubstr(cause));
}

/// A machine that has not made its first pass.
struct Unready : LfibTrackingSm {
  Unready(Forma::Ptr<LfibStatus const> lfib, Forma::Ptr<LfibTrackingStatus> backlog)
      : LfibTrackingSm(std::move(lfib), std::move(backlog), "unready") {}
};

using LfibMachinesDeathTest = LfibMachinesTest;

TEST_F(LfibMachinesDeathTest, TrackingStartsEmptyAndStaysConsistent) {
  const Forma::Ptr<Unready> unready(new Unready(lfib, backlog));
  lfib->lfibRouteIs({route(103), setKey, source});
  lfib->pwViaNotifyCollection();
  EXPECT_EQ(backlog->routeKeyBacklogs(), 0U) << "notifications come too early";
  for (const auto step :
       {+[](LfibTrackingSm& sm) { sm.handleLfibRoute(route(100)); },
        +[](LfibTrackingSm& sm) { sm.handleViaSet(setKey); },
        +[](LfibTrackingSm& sm) { sm.handleVia(viaKey); },
        +[](LfibTrackingSm& sm) { sm.addRouteKeyBacklog(route(100)); },
        +[](LfibTrackingSm& sm) { sm.addRouteKeyViaSetKeyMapping(route(100), setKey); },
        +[](LfibTrackingSm& sm) { sm.addViaSetKeyViaKeyMapping(setKey, viaKey); }})
    EXPECT_DEATH(step(*unready), dies("initialized()", "unready"));
  const auto sm = tracking();
  EXPECT_DEATH(tracking(), dies("!lfibTrackingStatus()->routeKeyBacklogs()",
                                "the backlog of backlog holds 4 routes"));
  sm->viaSetKeyToRouteKeySetDelAll();
  EXPECT_DEATH(sm->delRouteKeyViaSetKeyMapping(route(100)),
               dies("!!viaSetToRouteMap", "'topLabel': 100"));
  sm->viaKeyToViaSetKeySetDelAll();
  EXPECT_DEATH(sm->delViaSetKeyViaKeyMapping(setKey), dies("!!viaToViaSetMap", "'index': 1"));
}

TEST_F(LfibMachinesDeathTest, LookupsHaveOneVia) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a process that is forked has no tables
  const auto sm = tracking();
  const auto viasAre = [&](std::initializer_list<LfibViaKey> vias) {
    Checks::raised<Forma::InternalException>([&] { lfib->viaSetIs(LfibViaSet(setKey, vias)); });
  };
  viasAre({});
  EXPECT_DEATH(lookups(), dies("viaSet.viaKeys() == 1", "0 vias in Value('Mpls::LfibViaSetKey'"));
  viasAre({viaKey, viaKey});
  EXPECT_DEATH(lookups(), dies("viaSet.viaKeys() == 1", "2 vias in "));
  viasAre({LfibViaKey()});
  EXPECT_DEATH(lookups(), dies("!!viaKey", "1 vias in "));
}

TEST_F(LfibMachinesDeathTest, ConsumersStartWithoutMaps) {
  lfib->dot1qTagToVlanCollIs(mapKey);
  EXPECT_DEATH(lfibStatusConsumerSmFactory(lfib),
               AllOf(dies("!lfibStatus()->dot1qTagToVlanColls()", "lfib holds 1 tag maps"),
                     HasSubstr("This sm should not have been created with a filled "
                               "dot1qTagToVlanColl")));
}

}  // namespace
}  // namespace Mpls
