// The resolved forwarding map: what each kind of row in its inputs does to it.
#include "mpls/lfib/LfibForwardingSm.h"

#include <algorithm>
#include <functional>
#include <set>

#include "tests/mpls/lfib/ForwardingRig.h"

namespace Mpls {
namespace {

constexpr auto ldp = LFib::lfibSourceLdp_;
constexpr auto bgp = LFib::lfibSourceBgpLu_;

class LfibForwardingSmTest : public ::testing::Test {
 protected:
  static constexpr LfibViaSetKey set1{ldp, 1, viaTypeMplsIp_};
  static LfibViaKey via(std::uint32_t index, LfibViaType type = viaTypeMplsIp_) {
    return {ldp, type, index};
  }
  void settle() { forwarding.loop.runUntilIdle(); }
  std::string reasonsOf(const RouteKey& at) {
    settle();
    return forwarding.reasonsOf(at);
  }

  const std::vector<Lfib> lfibs{Lfib(lfibStatusFactory("a")), Lfib(lfibStatusFactory("b"))};
  const Lfib& a = lfibs[0];
  const Lfib& b = lfibs[1];
  Forwarding forwarding{lfibs};
};

TEST_F(LfibForwardingSmTest, RowsMayComeInAnyOrderAndGo) {
  std::vector<std::function<void()>> writes = {
      [this] {
        a.routeIs({key(100), set1, ldp});
      },
      [this] {
        a.viaSetIs({set1, {via(1), via(2)}});
      },
      [this] { a.viaIs(via(1), 1); },
      [this] { a.viaIs(via(2), 2); },
  };
  const std::vector<std::function<void()>> removals = {
      [this] { a.routeDel(key(100)); },
      [this] { a.viaSetDel(set1); },
      [this] { a.viaDel(via(1)); },
      [this] { a.viaDel(via(2)); },
  };
  std::vector<std::size_t> order = {0, 1, 2, 3};
  do {
    for (const std::size_t i : order) {
      writes[i]();
      settle();
    }
    const auto found = forwarding.sm->lookup(100);
    ASSERT_TRUE(found && found->vias().size() == 2);
    EXPECT_EQ(std::get<LfibMplsVia>(found->vias()[1]).labelStack().label(0), 102U);
    EXPECT_EQ(forwarding.reasonsOf(key(100)), "programmed");
    for (const std::size_t i : order) {
      removals[i]();
      settle();
      EXPECT_EQ(forwarding.lines(), Forwarding(lfibs).lines());
    }
    EXPECT_EQ(forwarding.lines(), Lines{});
    EXPECT_EQ(found->vias().size(), 2U) << "who holds an entry may read it";
  } while (std::ranges::next_permutation(order).found);
}

TEST_F(LfibForwardingSmTest, ReasonsNameWhatIsMissingOrWrong) {
  a.routeIs({key(100), set1, ldp});
  EXPECT_EQ(reasonsOf(key(100)), "0:reasonViaSetMissing adjacencyNotProgrammed");
  a.viaSetIs(LfibViaSet(set1));
  EXPECT_EQ(reasonsOf(key(100)), "0:reasonViaSetEmpty adjacencyNotProgrammed");
  a.viaSetIs({set1, {via(1), via(2), via(3, viaTypeVlan_)}});
  a.viaIs(via(3, viaTypeVlan_), 1);  // there, and of another kind than its set
  EXPECT_EQ(reasonsOf(key(100)), "0:reasonViasMissing adjacencyNotProgrammed");
  a.viaIs(via(2), 1);
  EXPECT_EQ(reasonsOf(key(100)), "programmed");

  const LfibViaSetKey vlans(ldp, 2, viaTypeVlan_);
  a.viaSetIs({vlans, {via(3, viaTypeVlan_)}});
  a.routeIs({key(101, 1), vlans, ldp});
  EXPECT_EQ(reasonsOf(key(101, 1)), "0:reasonMetricNotZero routeNotProgrammed");
  a.routeIs({key(101), vlans, ldp});
  EXPECT_EQ(reasonsOf(key(101)), "programmed");
  a.viaSetIs({vlans, {via(3, viaTypeVlan_), via(4, viaTypeVlan_)}});
  EXPECT_EQ(reasonsOf(key(101)), "0:reasonViasTooMany routeNotProgrammed");
  a.routeIs({key(102), {ldp, 3, viaTypeNexthopGroup_}, ldp});
  EXPECT_EQ(reasonsOf(key(102)), "0:reasonViaTypeUnknown routeNotProgrammed");
}

TEST_F(LfibForwardingSmTest, OfEqualKeysTheLowerSourceWinsThenTheFirstLfib) {
  for (const Lfib* lfib : {&a, &b}) {
    lfib->viaIs(via(1), lfib == &a ? 1 : 2);
    lfib->viaSetIs({set1, {via(1)}});
  }
  const auto winner = [this] {
    settle();
    const auto found = forwarding.sm->route(key(100));
    return found ? static_cast<int>(found->lfib()) : -1;
  };
  a.routeIs({key(100), set1, bgp});
  b.routeIs({key(100), set1, bgp});
  EXPECT_EQ(winner(), 0);
  EXPECT_EQ(reasonsOf(key(100)), "1:reasonConflict conflict");
  b.routeIs({key(100), set1, ldp});
  EXPECT_EQ(winner(), 1);
  EXPECT_EQ(reasonsOf(key(100)), "0:reasonConflict conflict");
  b.viaSetDel(set1);  // the winner leads nowhere: that is what the key's code says
  EXPECT_EQ(winner(), -1);
  EXPECT_EQ(reasonsOf(key(100)), "0:reasonConflict 1:reasonViaSetMissing adjacencyNotProgrammed");
  b.routeDel(key(100));
  EXPECT_EQ(winner(), 0);
  EXPECT_EQ(reasonsOf(key(100)), "programmed");
}

TEST_F(LfibForwardingSmTest, LabelsLeadToTheLowestMetricThatIsForwarded) {
  a.viaIs(via(1), 1);
  a.viaSetIs({set1, {via(1)}});
  a.routeIs({key(100, 7), set1, ldp});
  a.routeIs({key(100, 3), {ldp, 9, viaTypeMplsIp_}, ldp});
  settle();
  EXPECT_EQ(forwarding.sm->lookup(100), forwarding.sm->route(key(100, 7)));
  EXPECT_EQ(forwarding.sm->lookup(101), nullptr);
  a.viaIs({ldp, viaTypeMplsIp_, 5}, 5);
  a.viaSetIs({{ldp, 9, viaTypeMplsIp_}, {via(5)}});
  settle();
  EXPECT_EQ(forwarding.sm->lookup(100), forwarding.sm->route(key(100, 3)));
}

/// Follows one route of the status: whenever it is told, the adjacency that the route names is
/// there.
TEST_F(LfibForwardingSmTest, StatusRoutesNameAdjacenciesThatAreThere) {
  struct : Status::NotifieeConst {
    void onLfibRoute(const RouteKey& at) override { look(at); }
    void onLfibAdjacency(const std::uint64_t&) override { look(key(100)); }
    void look(const RouteKey& at) {
      const LFib::Route route = notifier()->lfibRoute(at);
      EXPECT_TRUE(route == LFib::Route() || notifier()->getAdjacencyBase(route));
      indexes.insert(route.adjKey().index());
    }
    std::set<std::uint64_t> indexes;
  } reader;
  reader.notifierIs(forwarding.status);
  a.viaSetIs({set1, {via(1)}});
  a.routeIs({key(100), set1, ldp});
  for (std::uint32_t content = 1; content <= 3; ++content) {
    a.viaIs(via(1), content);
    settle();
  }
  EXPECT_EQ(reader.indexes.size(), 4U) << "other content has another index; 0 is that of no route";
  a.viaIs(via(1), 3);
  settle();
  EXPECT_EQ(reader.indexes.size(), 4U);
  EXPECT_EQ(*reader.indexes.rbegin() >> 60, ldp);
}

/// What an earlier process said of routes that are forwarded now, or gone, is taken back.
TEST_F(LfibForwardingSmTest, RestartKeepsWhatIsStillSoAndTakesBackTheRest) {
  a.routeIs({key(100), set1, ldp});
  settle();
  forwarding.hwStatus->unprogrammedRouteIs({key(200), conflict_});
  struct : LfibHwStatus::NotifieeConst {
    using NotifieeConst::onUnprogrammedRoute;
    void onUnprogrammedRoute(const RouteKey& at) override { told.insert(at); }
    std::set<RouteKey> told;
  } reader;
  reader.notifierIs(forwarding.hwStatus);
  const Forwarding next(lfibs, forwarding.hwStatus);
  EXPECT_EQ(reader.told, std::set<RouteKey>{key(200)});
  EXPECT_EQ(next.reasonsOf(key(100)), "0:reasonViaSetMissing adjacencyNotProgrammed");
}

}  // namespace
}  // namespace Mpls
