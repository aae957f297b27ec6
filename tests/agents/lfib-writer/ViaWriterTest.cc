// Random files, restarts, and others that take labels and leave them: the LFIB holds what the file
// says, over vias that are there, and nothing else of the writer's own.
#include "agents/lfib-writer/ViaWriter.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>

namespace LfibWriterAgent {
namespace {

using Mpls::LfibViaRow;
using Mpls::RouteKey;

class ViaWriterTest : public ::testing::Test {
 protected:
  std::uint32_t below(std::uint32_t n) { return static_cast<std::uint32_t>(random() % n); }
  static RouteKey key(std::uint32_t i) { return {100 + i, 0}; }

  ViaFile anyFile() {
    ViaFile file;
    for (std::uint32_t i = 0; i < labels; ++i) {
      const std::string name = "v" + std::to_string(below(3));
      if (below(3) == 0)
        file.ipLookups.emplace(key(i),
                               Mpls::LfibIpLookupVia({}, L3::VrfName(name), Netbase::ipv4_));
      else if (below(2) == 0)
        file.pseudowires.emplace(
            key(i), Mpls::LfibPwVia({}, Netbase::IntfId(name), false, Mpls::pwTypeEthernet_));
    }
    if (below(3) != 0) {
      auto& tags = file.tagMaps[{Mpls::LFib::lfibSourceBgpL2Evpn_, below(2)}];
      for (std::uint32_t tag = 1; tag <= 4; ++tag)
        if (below(2) == 0) tags.emplace(tag, 1 + below(3));
    }
    return file;
  }
  /// The one via that a route leads over, its key left out.
  std::optional<LfibViaRow> viaOf(const RouteKey& at) const {
    Mpls::LfibRoute route;
    Mpls::LfibViaSet viaSet;
    LfibViaRow row;
    if (!lfib->lfibRouteFind(at, &route) || !lfib->viaSetFind(route.viaSetKey(), &viaSet) ||
        viaSet.viaKeys() != 1 || !lfibViaRowFind(*lfib, viaSet.viaKey(0), &row))
      return std::nullopt;
    std::visit([](auto& one) { one.keyIs({}); }, row);
    return row;
  }
  void expectWanted(const ViaFile& wanted) const {
    std::size_t own = 0, tags = 0;
    for (std::uint32_t i = 0; i < labels; ++i) {
      const auto lookup = wanted.ipLookups.find(key(i));
      const auto wire = wanted.pseudowires.find(key(i));
      if (others.contains(key(i))) {
        EXPECT_EQ(lfib->lfibRoute(key(i)).source(), Mpls::LFib::lfibSourceStaticMpls_);
      } else if (lookup != wanted.ipLookups.end()) {
        EXPECT_EQ(viaOf(key(i)), LfibViaRow(lookup->second));
        ++own;
      } else if (wire != wanted.pseudowires.end()) {
        EXPECT_EQ(viaOf(key(i)), LfibViaRow(wire->second));
        ++own;
      }
    }
    EXPECT_EQ(lfib->lfibRoutes(), own + others.size());
    for (const auto& [at, map] : wanted.tagMaps)
      for (const auto& [tag, vlan] : map) {
        ++tags;
        EXPECT_EQ(lfib->dot1qTagToVlanComposite({at, tag}).localVlan(), vlan);
      }
    EXPECT_EQ(lfib->dot1qTagToVlanComposites(), tags);
    EXPECT_EQ(lfib->dot1qTagToVlanColls(), wanted.tagMaps.size());
  }
  /// Another process adopts what is there; tag maps are those of one process.
  void restart() {
    writer.reset();
    for (const auto& one : lfib->dot1qTagToVlanCollIteratorConst())
      lfib->dot1qTagToVlanCollDel(one.key);
    writer.emplace(lfib, loop, [this](const std::string& text) { said.push_back(text); });
  }

  static constexpr std::uint32_t labels = 12;
  const unsigned seed = std::random_device()();
  std::mt19937 random{seed};
  const Forma::Ptr<Mpls::LfibStatus> lfib = Mpls::lfibStatusFactory("lfib");
  std::set<RouteKey> others;
  Kiln::EventLoop loop;
  std::vector<std::string> said;
  std::optional<ViaWriter> writer;
};

TEST_F(ViaWriterTest, HoldsWhatTheFileSaysWhateverHappensAround) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  restart();
  ViaFile wanted;
  for (int round = 0; round < 600 && !HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    if (below(8) == 0) restart();
    const RouteKey at = key(below(labels));
    if (others.erase(at) != 0) lfib->lfibRouteDel(at);
    else if (below(3) == 0) {
      others.insert(at);
      lfib->lfibRouteIs({at, {}, Mpls::LFib::lfibSourceStaticMpls_});
    }
    if (below(2) == 0) wanted = anyFile();
    writer->wantedIs(wanted);
    loop.runUntilIdle();
    expectWanted(wanted);
    if (others.erase(at) != 0) lfib->lfibRouteDel(at);  // heard, without another file
    loop.runUntilIdle();
    expectWanted(wanted);
  }
  EXPECT_FALSE(said.empty()) << "labels that were left to others are told";
  wanted = {};
  writer->wantedIs({});
  EXPECT_EQ(lfib->viaSets() + lfib->ipLookupVias() + lfib->pwVias(), 0U);
}

}  // namespace
}  // namespace LfibWriterAgent
