// The tables of the LFIB: what their checks refuse, in what words, and what is done and told then.
#include "mpls/lfib/LfibStatus.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "mpls/lfib/LfibHwStatus.h"
#include "mpls/lfib/Registration.h"
#include "platform/ringtrace/RingTrace.h"
#include "tests/support/Checks.h"

namespace Mpls {
namespace {

constexpr LFib::Source bgp = LFib::lfibSourceBgpL2Evpn_;
constexpr LfibDot1qTagToVlanKey mapKey(bgp, 7);

LfibViaSetKey setKey(LfibViaType type) { return {bgp, 1, type}; }
LfibRoute route(LfibViaType type, std::uint8_t metric) {
  return {RouteKey(100, metric), setKey(type), bgp};
}

/// What was told, a word for each callback.
struct Log : LfibStatus::NotifieeConst {
  void onLfibRoute(const RouteKey& key) override {
    LfibRoute row;
    add(notifier()->lfibRouteFind(key, &row) ? "lfibRoute" : "no-lfibRoute");
  }
  void onLfibRoute() override { add("all-lfibRoute"); }
  void onViaSet(const LfibViaSetKey&) override { add("viaSet"); }
  void onMplsVia(const LfibViaKey&) override { add("mplsVia"); }
  void onPwVia(const LfibViaKey&) override { add("pwVia"); }
  void onIpLookupVia(const LfibViaKey&) override { add("ipLookupVia"); }
  void onVlanVia(const LfibViaKey&) override { add("vlanVia"); }
  void onEvpnVlanAwareVia(const LfibViaKey&) override { add("evpnVlanAwareVia"); }
  void onEvpnEthernetSegmentFilterVia(const LfibViaKey&) override {
    add("evpnEthernetSegmentFilterVia");
  }
  void onEvpnVlanFloodVia(const LfibViaKey&) override { add("evpnVlanFloodVia"); }
  void onEvpnVlanAwareFloodVia(const LfibViaKey&) override { add("evpnVlanAwareFloodVia"); }
  void onDot1qTagToVlanComposite(const LfibDot1qTagToVlanCompositeKey&) override {
    add("dot1qTagToVlanComposite");
  }
  void onDot1qTagToVlanColl(const LfibDot1qTagToVlanKey&) override { add("dot1qTagToVlanColl"); }

  void add(const std::string& what) { text += what + ' '; }
  std::string take() { return std::exchange(text, ""); }
  std::string text;
};

class LfibStatusTest : public ::testing::Test {
 protected:
  LfibStatusTest() { log.notifierIs(status); }

  /// The text of the failed check that `call` raises, "N" for the line.
  template <class Call>
  static std::string failure(Call call) {
    const std::string text = Checks::raised<Forma::InternalException>(call);
    return std::regex_replace(text, std::regex("^MplsLfib:[0-9]+ "), "MplsLfib:N ");
  }
  static std::string expected(const std::string& function, const std::string& why) {
    return "MplsLfib:N void Mpls::LfibStatus::" + function + "&) const -- assertion failed(" + why;
  }

  Forma::Ptr<LfibStatus> status = lfibStatusFactory("lfib");
  Log log;
};

TEST_F(LfibStatusTest, HoldsItsTablesInOrder) {
  std::string names;
  for (const Forma::MemberType& member : status->formaType().members)
    names.append(member.kind == Forma::MemberKind::table ? " " : " - ").append(member.name);
  EXPECT_EQ(names,
            " lfibRoute viaSet mplsVia pwVia ipLookupVia vlanVia evpnVlanAwareVia "
            "evpnEthernetSegmentFilterVia evpnVlanFloodVia evpnVlanAwareFloodVia "
            "dot1qTagToVlanComposite - dot1qTagToVlanColl");
}

/// Each via table with each type of via: all but one are stored, refused, and not told.
TEST_F(LfibStatusTest, ViaTablesTakeOneTypeEach) {
  Forma::TypeRegistry registry;
  registerLfibTypes(registry);
  for (unsigned table = viaTypeMplsIp_; table <= viaTypeEvpnVlanAwareFlood_; ++table) {
    const Forma::MemberType& member = *status->formaType().member(table + 1);
    const std::string own(stringValue(LfibViaTypeInstance(table)).view());
    const std::string told = std::string(member.name) + ' ';
    for (unsigned type = viaTypeMplsUnknown_; type <= viaTypeMax_; ++type) {
      const LfibViaKey key(bgp, LfibViaTypeInstance(type), 5);
      const std::string wanted =
          type == table
              ? "nothing"
              : expected("verifyV" + own.substr(1) + "(const Mpls::LfibViaKey",
                         "key.viaType() == " + own + "_): via key and via coll type mismatch");
      Forma::AnyValue row = registry.newValue(member.valueType), keyOfRow(row.field("key"));
      keyOfRow.textIs(valueToStrep(key).view());
      row.fieldIs("key", keyOfRow);
      EXPECT_EQ(failure([&] { member.put(*status, &key, row.data()); }), wanted);
      EXPECT_TRUE(member.find(*status, &key)) << "stored, whatever the check says";
      EXPECT_EQ(log.take(), type == table ? told : "");
      EXPECT_EQ(failure([&] { member.erase(*status, &key); }), wanted);
      EXPECT_EQ(member.size(*status), 0U) << "removed, whatever the check says";
      EXPECT_EQ(log.take(), type == table ? told : "");
    }
  }
  const auto ring = RingTrace::messages();
  EXPECT_NE(ring[ring.size() - 2].text.find("'index': 5"), std::string::npos) << "the cause";
}

TEST_F(LfibStatusTest, RemovalOfAllStopsAtTheFirstThatIsRefused) {
  const auto vias = [&](LfibViaType type) {
    for (const std::uint32_t index : {1U, 2U, 3U})
      failure([&] { status->newMplsVia(LfibMplsVia(LfibViaKey(bgp, type, index))); });
  };
  vias(viaTypeVlan_);
  for (const std::size_t left : {2U, 1U, 0U}) {
    EXPECT_NE(failure([&] { status->mplsViaDelAll(); }), "nothing");
    EXPECT_EQ(status->mplsVias(), left);
  }
  vias(viaTypeMplsIp_);
  status->mplsViaDelAll();
  EXPECT_EQ(status->mplsVias(), 0U);
  EXPECT_EQ(log.take(), "mplsVia mplsVia mplsVia mplsVia mplsVia mplsVia ");
}

TEST_F(LfibStatusTest, RoutesOfEvpnTypesHaveTheMetricZero) {
  for (unsigned type = viaTypeMplsUnknown_; type <= viaTypeMax_ + 1; ++type) {
    const auto viaType = static_cast<LfibViaType>(type);
    const bool evpn = type >= 3 && type <= 8;
    EXPECT_EQ(status->isEvpnViaType(viaType), evpn);
    for (const std::uint8_t metric : {std::uint8_t{0}, std::uint8_t{5}}) {
      const LfibRoute row = route(viaType, metric);
      const bool refused = evpn && metric != 0;
      EXPECT_EQ(failure([&] { status->lfibRouteCommit(row); }),
                refused ? expected("handleRoute(const Mpls::RouteKey",
                                   "key.metric() == 0): EVPN lfib routes must have metric set to 0")
                        : "nothing");
      EXPECT_EQ(log.take(), refused ? "" : "lfibRoute ");
      EXPECT_EQ(status->lfibRouteDel(row.key()), row) << "the check finds no row any more";
      EXPECT_EQ(log.take(), "no-lfibRoute ");
    }
  }
}

TEST_F(LfibStatusTest, ViaSetsHoldViasOfTheirTypeAndOneOfAnEvpnType) {
  const auto fails = [&](LfibViaType type, const std::vector<LfibViaKey>& keys) {
    const LfibViaSet row(setKey(type), keys);
    const std::string text = failure([&] { EXPECT_EQ(status->newViaSet(row), row); });
    EXPECT_EQ(log.take(), text == "nothing" ? "viaSet " : "");
    EXPECT_EQ(status->viaSetDel(row.key()), row);
    EXPECT_EQ(log.take(), "viaSet ");
    const std::string start = expected("handleViaSet(const Mpls::LfibViaSetKey", "");
    return text.starts_with(start) ? text.substr(start.size()) : text;
  };
  const std::string mixed = "viaKeyType == viaType): Vias in a viaSet must always be homogeneous";
  const std::string several = "vs.viaKeys() <= 1): EVPN via sets must contain at most 1 via key";
  const LfibViaKey ip(bgp, viaTypeMplsIp_, 1), pw(bgp, viaTypeMplsPseudowire_, 2);
  const LfibViaKey flood(bgp, viaTypeEvpnVlanFlood_, 3);
  EXPECT_EQ(fails(viaTypeMplsIp_, std::vector(128, ip)), "nothing");
  EXPECT_EQ(fails(viaTypeMplsIp_, {pw}), mixed);
  EXPECT_EQ(fails(viaTypeMplsPseudowire_, {pw, pw, pw, ip}), mixed);
  EXPECT_EQ(fails(viaTypeEvpnVlanFlood_, {}), "nothing");
  EXPECT_EQ(fails(viaTypeEvpnVlanFlood_, {flood}), "nothing");
  EXPECT_EQ(fails(viaTypeEvpnVlanFlood_, {flood, flood}), several);
  EXPECT_EQ(fails(viaTypeEvpnVlanFlood_, {flood, ip}), mixed) << "all types come first";
}

TEST_F(LfibStatusTest, TablesTellEveryWriteAndEveryRemovalOfARow) {
  const LfibRoute row = route(viaTypeMplsIp_, 5), changed(row.key());
  EXPECT_EQ(status->lfibRouteDel(row.key()), LfibRoute());
  EXPECT_EQ(log.take(), "") << "there was none";
  EXPECT_EQ(status->newLfibRoute(row), row);
  EXPECT_EQ(status->lfibRouteIs(row), row);
  status->lfibRouteCommit(changed);
  EXPECT_EQ(status->lfibRouteDel(row.key()), changed);
  status->lfibRouteNotifyCollection();
  EXPECT_EQ(log.take(), "lfibRoute lfibRoute lfibRoute no-lfibRoute all-lfibRoute ");
  status->newDot1qTagToVlanComposite({{mapKey, 100}, 10});
  EXPECT_EQ(status->dot1qTagToVlanComposite({mapKey, 100}).localVlan(), 10);
  EXPECT_EQ(log.take(), "dot1qTagToVlanComposite ");
}

TEST_F(LfibStatusTest, TagMapsAreGotMadeOrReplaced) {
  const auto map = status->dot1qTagToVlanCollIs(mapKey);
  map->dot1qTagToVlanIdIs(100, 10);
  EXPECT_EQ(status->newDot1qTagToVlanColl(mapKey), map) << "got, not made again";
  EXPECT_EQ(log.take(), "dot1qTagToVlanColl ") << "a map's content is told by the map";
  const auto other = lfibDot1qTagToVlanFactory(mapKey);
  status->dot1qTagToVlanCollIs(other);
  status->dot1qTagToVlanCollIs(other);
  EXPECT_EQ(log.take(), "dot1qTagToVlanColl dot1qTagToVlanColl ");
  EXPECT_EQ(status->dot1qTagToVlanColl(mapKey), other);
  EXPECT_TRUE(map->isDeleted() && !map->parent() && map->dot1qTagToVlanId(100) == 10);
  EXPECT_TRUE(!other->isDeleted() && other->parent() == status.get());
  const auto elsewhere = lfibStatusFactory("elsewhere");
  elsewhere->dot1qTagToVlanCollIs(other);
  EXPECT_TRUE(status->dot1qTagToVlanColls() == 0 && other->parent() == elsewhere.get());
  EXPECT_EQ(log.take(), "dot1qTagToVlanColl ");
  EXPECT_THROW(status->dot1qTagToVlanCollIs(Forma::Ptr<LfibDot1qTagToVlan>()), Forma::Exception);
}

TEST(LfibHwStatusTest, ListsTheRoutesThatAreNotProgrammed) {
  struct : LfibHwStatus::NotifieeConst {
    void onUnprogrammedRoute(const RouteKey& key) override { keys.push_back(key); }
    std::vector<RouteKey> keys;
  } told;
  const auto status = lfibHwStatusFactory("hw");
  told.notifierIs(status);
  const RouteKey one(100, 0), two(200, 1);
  for (const RouteKey key : {one, two}) status->unprogrammedRouteIs({key, conflict()});
  EXPECT_EQ(status->unprogrammedRouteDel(one).status(), conflict());
  EXPECT_EQ(status->unprogrammedRouteDel(one), RouteInfo());
  status->unprogrammedRouteDelAll();
  EXPECT_EQ(told.keys, (std::vector{one, two, one, two}));
}

}  // namespace
}  // namespace Mpls
