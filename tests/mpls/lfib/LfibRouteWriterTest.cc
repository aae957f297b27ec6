// Random merged configurations, restarts and damage: whatever happens the tables end up equal to
// the configuration, and readers who look meanwhile never meet a route that leads nowhere.
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <random>
#include <set>

#include "mpls/lfib/LfibStaticRouteSm.h"
#include "mpls/types/ViaSet.h"

namespace Mpls {
namespace {

constexpr auto own = LFib::lfibSourceStaticMpls_;
constexpr auto foreign = LFib::lfibSourceLdp_;

LfibViaKey viaKey(std::uint32_t index, LfibViaType type = viaTypeMplsIp_) {
  return {own, type, index};
}
LfibViaSetKey viaSetKey(std::uint32_t index) { return {own, index, viaTypeMplsIp_}; }

LfibMplsVia rowOf(const Via& via, std::uint32_t index) {
  LfibMplsVia row(viaKey(index), via.nextHop(), via.labelAction(), via.outLabel(),
                  via.skipEgressAcl());
  row.weightIs(via.weight());
  return row;
}

Via anyVia(std::uint32_t n) {
  Via via(Netbase::IpAddr("10.0.0.1"), Netbase::swap_, 100 + n / 2, false);
  via.weightIs(1 + n % 2);  // vias differ in their weight alone
  return via;
}

using Vias = std::set<Via>;
using Table = std::map<RouteKey, Vias>;

/// Reads the tables at each change of them.
class Reader : public LfibStatus::NotifieeConst {
 public:
  using NotifieeConst::onLfibRoute;
  using NotifieeConst::onMplsVia;
  using NotifieeConst::onViaSet;
  void onLfibRoute(const RouteKey& /*key*/) override { look(); }
  void onViaSet(const LfibViaSetKey& /*key*/) override { look(); }
  void onMplsVia(const LfibViaKey& key) override {
    LfibMplsVia row;
    if (key.source() == own && notifier()->mplsViaFind(key, &row)) {
      EXPECT_EQ(contents.emplace(key, row).first->second, row) << "the row has other content now";
      if (before.contains(key)) {
        EXPECT_EQ(before[key], row) << "its index was used just before";
      }
    }
    look();
  }
  /// The vias of a route; nothing when it leads nowhere.
  std::optional<Vias> viasOf(const LfibRoute& route) const {
    LfibViaSet viaSet;
    if (!notifier()->viaSetFind(route.viaSetKey(), &viaSet)) return std::nullopt;
    Vias vias;
    for (const LfibViaKey& key : viaSet.viaKeyIteratorConst()) {
      LfibMplsVia row;
      if (!notifier()->mplsViaFind(key, &row)) return std::nullopt;
      Via via(row.nextHop(), row.labelAction(), row.labelStack().label(0), row.skipEgressAcl());
      via.weightIs(row.weight());
      vias.insert(via);
    }
    return vias;
  }
  Table routes() const {
    Table table;
    for (const auto& [key, route] : notifier()->lfibRouteIteratorConst()) {
      if (route.source() != own) continue;
      const auto vias = viasOf(route);
      EXPECT_TRUE(vias || isDamaged) << key << " leads nowhere";
      table[key] = vias.value_or(Vias{});
    }
    return table;
  }

  /// Another writer begins.
  void writerIsNew() { before = std::exchange(contents, {}); }

  int changes = 0;
  bool isDamaged = false;
  std::map<LfibViaKey, LfibMplsVia> contents;  // of all rows that the writer has written
  std::map<LfibViaKey, LfibMplsVia> before;    // the same of the one before it

 private:
  void look() {
    ++changes;
    (void)routes();
  }
};

class LfibStaticRouteSmTest : public ::testing::Test {
 protected:
  LfibStaticRouteSmTest() { reader.notifierIs(lfib); }

  void start() {
    reader.writerIsNew();
    sm.emplace(lfib, config, loop, [this](const std::string& text) { reports.push_back(text); });
  }
  /// Brings the configuration to where it is, and lets the machine follow.
  void settle() {
    config->readyIs(true);
    loop.runUntilIdle();
    reader.isDamaged = false;
  }
  void routeIs(const RouteKey& key, const Vias& vias) {
    const auto route = routeFactory(key);
    for (const Via& via : vias) route->viaIs(via, true);
    config->routeIs(route);
  }

  Kiln::TestClock clock;
  Kiln::EventLoop loop{clock};
  Forma::Ptr<LfibStatus> lfib = lfibStatusFactory("static");
  Forma::Ptr<RouteConfig> config = routeConfigFactory("config");
  Reader reader;
  std::vector<std::string> reports;
  std::optional<LfibStaticRouteSm> sm;
};

class LfibModelTest : public LfibStaticRouteSmTest, public ::testing::WithParamInterface<unsigned> {
 protected:
  unsigned below(unsigned n) { return static_cast<unsigned>(random() % n); }
  RouteKey anyKey() { return {100 + below(10), static_cast<std::uint8_t>(below(2))}; }

  void change() {
    const RouteKey key = anyKey();
    Vias vias;
    for (unsigned i = below(5); i != 0; --i) vias.insert(anyVia(below(6)));
    if (below(3) == 0) config->routeDel(key);
    else routeIs(key, vias);
  }
  /// Another merge begins: a part of the routes is there, and it is not ready.
  void mergeAnew() {
    const auto before = config;
    config = routeConfigFactory("config");
    for (const auto& one : before->routeIteratorConst())
      if (below(2) == 0) config->routeIs(one.value);
  }
  /// What others, or a disk, may do to the tables while no writer runs.
  void damage() {
    reader.isDamaged = true;
    for (const auto& [key, row] : lfib->mplsViaIteratorConst())
      if (below(6) == 0 && key.source() == own) lfib->mplsViaDel(key);
    for (const auto& [key, row] : lfib->viaSetIteratorConst())
      if (below(6) == 0 && key.source() == own) lfib->viaSetDel(key);
    const std::uint32_t index = 1'000'000 + 1000 * ++damages;
    lfib->mplsViaIs(rowOf(anyVia(below(6)), index));  // may be there already
    lfib->viaSetIs(LfibViaSet(viaSetKey(index), {viaKey(index), viaKey(index)}));
    lfib->viaSetIs(LfibViaSet(viaSetKey(index + 1), {viaKey(index), viaKey(index + 1)}));
    lfib->viaSetIs(LfibViaSet(viaSetKey(index + 2), {}));
    lfib->lfibRouteIs(LfibRoute(anyKey(), viaSetKey(index + below(4)), own));
    LfibMplsVia misfiled = rowOf(anyVia(0), index);
    misfiled.keyIs(viaKey(index, viaTypeVlan_));
    EXPECT_THROW(lfib->mplsViaIs(misfiled), Forma::InternalException);
  }

  Table expected() const {
    Table table;
    for (const auto& one : config->routeIteratorConst()) {
      Vias vias;
      for (const auto& via : one.value->viaIteratorConst()) vias.insert(via.key);
      if (!vias.empty()) table[one.key] = vias;
    }
    return table;
  }
  /// Nothing is there twice, and nothing that nobody uses.
  void checkRows() {
    std::set<LfibViaSetKey> usedViaSets;
    std::set<LfibViaKey> usedVias;
    for (const auto& [key, route] : lfib->lfibRouteIteratorConst())
      usedViaSets.insert(route.viaSetKey());
    std::set<std::set<LfibViaKey>> viaSets;
    for (const auto& [key, viaSet] : lfib->viaSetIteratorConst()) {
      EXPECT_TRUE(usedViaSets.contains(key)) << key;
      const auto keys = viaSet.viaKeyIteratorConst();
      usedVias.insert(keys.begin(), keys.end());
      EXPECT_TRUE(viaSets.emplace(keys.begin(), keys.end()).second) << key;
    }
    std::set<Forma::String8> vias;
    for (auto [key, via] : lfib->mplsViaIteratorConst()) {
      EXPECT_TRUE(usedVias.contains(key)) << key;
      via.keyIs({key.source(), key.viaType(), 0});
      EXPECT_TRUE(vias.insert(valueToStrep(via)).second) << key;
    }
    EXPECT_EQ(sm->writer().viaSets() + 1, usedViaSets.size());  // one is foreign
    EXPECT_EQ(sm->writer().vias() + 1, usedVias.size());
  }
  void check() {
    ASSERT_EQ(reader.routes(), expected());
    EXPECT_EQ(sm->writer().routes(), expected().size());
    checkRows();
    EXPECT_EQ(lfib->lfibRoute(foreignRoute.key()), foreignRoute);
  }

  std::mt19937 random{GetParam()};
  std::uint32_t damages = 0;
  const LfibRoute foreignRoute{{50, 0}, {foreign, 7, viaTypeMplsIp_}, foreign};
};

TEST_P(LfibModelTest, TheTablesEqualTheConfigurationAfterAnything) {
  lfib->mplsViaIs(LfibMplsVia({foreign, viaTypeMplsIp_, 7}));
  lfib->viaSetIs(LfibViaSet({foreign, 7, viaTypeMplsIp_}, {{foreign, viaTypeMplsIp_, 7}}));
  lfib->lfibRouteIs(foreignRoute);
  start();
  settle();
  for (int i = 0; i < 400 && !HasFailure(); ++i) {
    const unsigned action = below(20);
    if (action < 3) {  // killed, at any point of its work
      if (below(2) == 0) loop.runOnce(0);
      sm.reset();
      if (below(2) == 0) change();
      if (below(3) == 0) damage();
      if (action == 0) mergeAnew();
      start();
      const int before = reader.changes;
      if (!config->ready()) loop.runUntilIdle();
      ASSERT_EQ(reader.changes, before) << "something was done before the routes were ready";
    }
    for (unsigned changes = below(4); changes != 0; --changes) change();
    if (below(2) == 0 && sm->initialized()) loop.runUntilIdle();
    else settle();
    if (config->ready()) check();
    const int before = reader.changes;
    if (below(4) == 0 && config->ready()) {
      start();
      settle();
      EXPECT_EQ(reader.changes, before) << "the restart changed something";
      EXPECT_EQ(sm->writer().changes(), 0U);
    }
  }
  config->routeDelAll();
  settle();
  check();
  EXPECT_EQ(lfib->lfibRoutes() + lfib->viaSets() + lfib->mplsVias(), 3U);
}

INSTANTIATE_TEST_SUITE_P(Seeds, LfibModelTest, ::testing::Range(1U, 13U));

TEST(SharedRowsTest, GivesIndexesInTurnButForThoseInUse) {
  SharedRows<ViaSet> rows;
  const std::uint32_t first = rows.freeIndex();
  rows.add(first + 1, {});
  rows.add(first + 2, {});
  EXPECT_EQ(rows.freeIndex(), first + 3);
  rows.remove(*rows.at(first + 2));
  EXPECT_EQ(rows.freeIndex(), first + 4);
}

TEST_F(LfibStaticRouteSmTest, ReportsWhatTheLfibCannotHold) {
  const RouteKey key(100, 0);
  Vias many;
  for (unsigned n = 0; n < 130; ++n) many.insert(anyVia(2 * n));
  Via group = anyVia(0);
  group.nexthopGroupIs("group");
  Via withdrawn = anyVia(1);
  withdrawn.outLabelIs(Netbase::MplsLabel::luWithdraw);
  start();
  config->readyIs(true);
  const auto is = [&](const Vias& vias, const std::string& report, std::size_t there) {
    routeIs(key, vias);
    loop.runUntilIdle();
    EXPECT_EQ(reports, std::vector{"label 100 metric 0: " + report});
    reports.clear();
    EXPECT_EQ(reader.routes()[key].size(), there);
  };
  is(many, "in the LFIB with 128 of its 130 vias", 128);
  EXPECT_EQ(*reader.routes()[key].rbegin(), anyVia(2 * 127));
  is({anyVia(1), group}, "in the LFIB with 1 of its 2 vias", 1);
  is({group, withdrawn}, "not in the LFIB: it has no room for any of its 2 vias", 0);
  is({}, "not in the LFIB: it has no vias", 0);
  is({anyVia(1)}, "as it is configured again", 1);
}

TEST_F(LfibStaticRouteSmTest, LargeLoadsLetTheLoopServeOthers) {
  constexpr auto perTurn = static_cast<std::uint32_t>(LfibStaticRouteSm::routesPerTurn);
  reader.notifierIs(nullptr);
  for (std::uint32_t label = 0; label < 3 * perTurn; ++label) routeIs({label, 0}, {});
  config->readyIs(true);
  start();
  std::vector<std::size_t> backlogs;
  while (!sm->initialized()) {
    loop.post([&] { backlogs.push_back(sm->backlog()); });
    loop.runOnce(0);
  }
  EXPECT_EQ(backlogs, (std::vector<std::size_t>{3UL * perTurn, 2UL * perTurn, perTurn}));
  EXPECT_EQ(reports.size(), 33U);
  EXPECT_EQ(reports.back(), "the same of 4086 more routes");
}

}  // namespace
}  // namespace Mpls
