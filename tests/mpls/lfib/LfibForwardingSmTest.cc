// The resolved forwarding map: whatever comes in whatever order, of rows that make sense or not, it
// ends up as that of a machine that starts on the same tables; and as told here by other means.
#include "mpls/lfib/LfibForwardingSm.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <string>

#include "mpls/lfib/LfibIpLookupSm.h"
#include "platform/tarn/ReaderDirectory.h"
#include "tests/mpls/lfib/LfibScribeProcess.h"

namespace Mpls {
namespace {

constexpr auto ldp = LFib::lfibSourceLdp_;
constexpr auto bgp = LFib::lfibSourceBgpLu_;
constexpr auto pw = LFib::lfibSourcePseudowire_;
using Lines = std::map<std::string, std::string>;

std::string text(const auto& value) { return std::string(Forma::valueToStrep(value).view()); }
RouteKey key(std::uint32_t label, std::uint8_t metric = 0) { return {label, metric}; }

LfibViaRow anyVia(const LfibViaKey& at, std::uint32_t content) {
  switch (at.viaType()) {
    case viaTypeMplsPseudowire_:
      return LfibPwVia(at, Netbase::IntfId("pw" + std::to_string(content)), false, pwTypeEthernet_);
    case viaTypeIpLookup_:
      return LfibIpLookupVia(at, L3::VrfName("vrf" + std::to_string(content)), Netbase::ipv4_);
    case viaTypeVlan_:
      return LfibVlanVia(at, 1 + content, {});
    case viaTypeEvpnVlanAware_:
      return LfibEvpnVlanAwareVia(at, {bgp, content}, {});
    case viaTypeEvpnEthernetSegment_:
      return LfibEvpnEthernetSegmentFilterVia(at, Netbase::IntfId("et" + std::to_string(content)));
    case viaTypeEvpnVlanFlood_:
      return LfibEvpnVlanFloodVia(at, 1 + content, {});
    case viaTypeEvpnVlanAwareFlood_:
      return LfibEvpnVlanAwareFloodVia(at, {bgp, content}, {});
    default:
      return LfibMplsVia(at, Netbase::IpGenAddr("10.0.0.1"), Netbase::swap_, 100 + content, false);
  }
}

/// An LFIB that is written, with the machines of its reader.
struct Lfib {
  explicit Lfib(const Forma::Ptr<LfibStatus>& written)
      : status(written),
        backlog(lfibTrackingStatusFactory("backlog")),
        tracking(lfibTrackingSmFactory(status, backlog, "tracking")),
        ipLookup(lfibIpLookupSmFactory(status, backlog, lfibIpLookupStatusFactory("ipLookup"))) {}

  /// What checks refuse is stored, and not told: a reader in another process is told.
  template <class Write, class Notify>
  static void checked(Write write, Notify notify) {
    try {
      write();
    } catch (const Forma::InternalException&) {
      notify();
    }
  }
  void viaIs(const LfibViaKey& at, std::uint32_t content) const {
    std::visit(
        [&]<class Row>(const Row& row) {
          checked([&] { LfibViaTable<Row>::commit(*status, row); },
                  [&] { LfibViaTable<Row>::tell(*status, at); });
        },
        anyVia(at, content));
  }
  void viaDel(const LfibViaKey& at) const {
    std::visit([&]<class Row>(const Row&) { LfibViaTable<Row>::del(*status, at); }, anyVia(at, 0));
  }
  void viaSetIs(const LfibViaSet& row) const {
    checked([&] { status->viaSetIs(row); }, [&] { status->viaSetNotify(row.key()); });
  }
  void viaSetDel(const LfibViaSetKey& at) const {
    checked([&] { status->viaSetDel(at); }, [&] { status->viaSetNotify(at); });
  }
  void routeIs(const LfibRoute& row) const {
    checked([&] { status->lfibRouteIs(row); }, [&] { status->lfibRouteNotify(row.key()); });
  }
  void routeDel(const RouteKey& at) const {
    checked([&] { status->lfibRouteDel(at); }, [&] { status->lfibRouteNotify(at); });
  }

  Forma::Ptr<LfibStatus> status;
  Forma::Ptr<LfibTrackingStatus> backlog;
  Forma::Ptr<LfibTrackingSm> tracking;
  Forma::Ptr<LfibIpLookupSm> ipLookup;
};

/// A machine with outputs of its own.
struct Forwarding {
  explicit Forwarding(const std::vector<Lfib>& lfibs, Forma::Ptr<LfibHwStatus> there = nullptr)
      : status(statusFactory("status")),
        hwStatus(there ? there : lfibHwStatusFactory("hw")),
        reasons(lfibHwReasonStatusFactory("reasons")) {
    std::vector<LfibForwardingSm::Lfib> inputs;
    for (const Lfib& one : lfibs) inputs.push_back({one.status, one.backlog, one.tracking});
    sm = lfibForwardingSmFactory(inputs, {status, hwStatus, reasons}, loop);
    loop.runUntilIdle();
    EXPECT_TRUE(sm->initialized());
  }

  /// All outputs as text, without indexes of adjacencies.
  Lines lines() const {
    Lines all;
    sm->eachRoute([&](const RouteKey& at, const LfibForwardingEntry& entry) {
      std::string& line = all["route " + text(at)];
      line = std::to_string(entry.lfib()) + " " + text(entry.viaSetKey());
      for (const LfibViaRow& row : entry.vias())
        std::visit([&](const auto& one) { line += " " + text(one); }, row);
      EXPECT_EQ(sm->route(at).get(), &entry);
    });
    std::set<std::uint64_t> used;
    for (const auto& [at, route] : status->lfibRouteIteratorConst()) {
      const auto adjacency = status->getAdjacencyBase(route);
      used.insert(route.adjKey().index());
      all["status " + text(at)] =
          adjacency ? text(route.source()) + contentOf(route) : "no adjacency";
    }
    EXPECT_EQ(used.size(), status->lfibAdjacencys() + status->lfibPwAdjacencys());
    for (const auto& [at, row] : hwStatus->unprogrammedRouteIteratorConst())
      all["unprogrammed " + text(at)] = text(row);
    for (const auto& [at, row] : reasons->unprogrammedReasonIteratorConst())
      all["reason " + text(at)] = text(row);
    return all;
  }
  std::string contentOf(const LFib::Route& route) const {
    if (route.adjKey().adjType() == mplsIp_) return text(status->getAdjacency(route)->viaSet());
    return text(status->getPwAdjacency(route)->via());
  }
  /// The reasons of a key, by LFIB, and its return code: "1:reasonConflict conflict".
  std::string reasonsOf(const RouteKey& at) const {
    std::string all;
    for (std::uint32_t lfib = 0; lfib < 3; ++lfib) {
      UnprogrammedReason row;
      if (reasons->unprogrammedReasonFind({at, lfib}, &row))
        all += std::to_string(lfib) + ":" + std::string(formaEnumName(row.reason())) + " ";
    }
    RouteInfo info;
    if (!hwStatus->unprogrammedRouteFind(at, &info)) return all + "programmed";
    return all + std::string(formaEnumName(info.status()));
  }

  Kiln::EventLoop loop;
  Forma::Ptr<Status> status;
  Forma::Ptr<LfibHwStatus> hwStatus;
  Forma::Ptr<LfibHwReasonStatus> reasons;
  Forma::Ptr<LfibForwardingSm> sm;
};

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

/// Few keys, so that rows meet each other often.
class RandomChanges {
 public:
  RandomChanges(const std::vector<Lfib>& lfibs, unsigned seed) : lfibs_(lfibs), random_(seed) {}

  void step() {
    const Lfib& lfib = lfibs_[below(2)];
    const bool removes = below(4) == 0;
    switch (below(3)) {
      case 0: {
        const RouteKey at = key(100 + below(12), static_cast<std::uint8_t>(below(2)));
        return removes ? lfib.routeDel(at) : lfib.routeIs({at, setKey(), source()});
      }
      case 1: {
        const LfibViaSetKey at = setKey();
        return removes ? lfib.viaSetDel(at) : lfib.viaSetIs(viaSet(at));
      }
      default: {
        const LfibViaKey at = viaKey(type());
        return removes ? lfib.viaDel(at) : lfib.viaIs(at, below(3));
      }
    }
  }

 private:
  std::uint32_t below(std::uint32_t n) { return static_cast<std::uint32_t>(random_() % n); }
  LFib::Source source() { return below(2) == 0 ? ldp : pw; }
  LfibViaType type() { return static_cast<LfibViaType>(1 + below(viaTypeEvpnVlanAwareFlood_)); }
  LfibViaSetKey setKey() {
    // Half of them MPLS; one kind in ten has no table.
    const auto kind = below(2) == 0 ? viaTypeMplsIp_ : LfibViaType(below(viaTypeMax_ + 1));
    return {ldp, below(3), kind};
  }
  LfibViaKey viaKey(LfibViaType kind) { return {ldp, kind, below(4)}; }
  /// An IP lookup has one via: to its machine anything else is the writer's error.
  LfibViaSet viaSet(const LfibViaSetKey& at) {
    LfibViaSet row(at);
    const bool isLookup = at.viaType() == viaTypeIpLookup_;
    const std::uint32_t count = isLookup ? 1 : below(4);
    for (std::uint32_t i = 0; i < count; ++i)
      row.viaKeyIs(i, viaKey(isLookup || below(8) != 0 ? at.viaType() : type()));
    return row;
  }

  const std::vector<Lfib>& lfibs_;
  std::mt19937 random_;
};

TEST_F(LfibForwardingSmTest, EqualsAMachineThatStartsAfreshAfterAnyChanges) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  RandomChanges changes(lfibs, seed);
  for (int round = 0; round < 400; ++round) {
    for (int burst = 1 + round % 40; burst != 0; --burst) changes.step();
    settle();
    EXPECT_EQ(forwarding.sm->backlog(), 0U);
    const Lines due = Forwarding(lfibs).lines();
    ASSERT_EQ(forwarding.lines(), due) << "round " << round;
  }
}

/// The LFIBs of two processes, each killed now and then, and a reader that does not look at times.
TEST(LfibForwardingProcessTest, EqualsAFreshMachineWhateverHappensToTheWriters) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  const Tarn::Folder folder;
  Kiln::EventLoop loop;
  struct Followed {
    Followed(const std::string& in, unsigned seed, Kiln::EventLoop& loop)
        : path(in),
          writer(std::make_unique<LfibScribeProcess>(path, seed)),
          directory(loop, path, [](const std::string&) {}) {
      FormaTarn::attachReader(*lfib, directory);
    }
    const std::string path;
    std::unique_ptr<LfibScribeProcess> writer;
    Tarn::ReaderDirectory directory;
    const Forma::Ptr<LfibStatus> lfib = lfibStatusFactory("read");
  };
  Followed followed[] = {{folder / "a", seed, loop}, {folder / "b", seed + 1, loop}};
  const std::vector<Lfib> lfibs{Lfib(followed[0].lfib), Lfib(followed[1].lfib)};
  Forwarding forwarding(lfibs);
  for (unsigned round = 0; round < 150; ++round) {
    Followed& one = followed[random() % 2];
    one.writer->steps(static_cast<unsigned char>(random() % 20));
    if (random() % 10 == 0) {
      one.writer = nullptr;
      one.writer = std::make_unique<LfibScribeProcess>(one.path, seed + 10 + round);
      one.writer->steps(1);  // it has adopted the tables
    }
    if (random() % 3 == 0) continue;
    loop.runUntilIdle();
    for (Followed& each : followed) each.directory.look();
    forwarding.loop.runUntilIdle();
    ASSERT_EQ(forwarding.lines(), Forwarding(lfibs).lines()) << "round " << round;
  }
}

}  // namespace
}  // namespace Mpls
