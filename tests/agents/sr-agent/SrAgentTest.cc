// Recorded routers become rows and labels: our sample in full, then every router of real networks
// that lies beside the tree; and the program around it.
#include <gtest/gtest.h>

#include "agents/replay/LineReader.h"
#include "agents/sr-agent/Router.h"
#include "agents/sr-agent/SrTables.h"
#include "tests/agents/Data.h"
#include "tests/agents/Program.h"

namespace SrAgent {
namespace {

namespace Fs = std::filesystem;

const Fs::path sample = AgentTest::sourceRoot() / "agents/sr-agent/samples/r1";

Router replayed(const Fs::path& folder) {
  const Replay::Document config = Replay::documentOf(folder / "config.json");
  Router router(config.node());
  Replay::LineReader events(folder / "events.jsonl");
  for (Replay::Document event; events.next(&event);) router.take(event.node());
  return router;
}

std::string text(const auto& v) {
  std::string out;
  Forma::print(out, v);
  return out;
}

class SrAgentTest : public ::testing::Test {
 protected:
  void replay(const Fs::path& folder) {
    router.emplace(replayed(folder));
    changes = writeRows(*status, router->rows()) + writeLabels(lfib, *router);
  }
  Mpls::LfibRoute route(std::uint32_t label) const { return lfib->lfibRoute({label, 100}); }
  std::vector<Mpls::LfibMplsVia> viasOf(std::uint32_t label) const {
    std::vector<Mpls::LfibMplsVia> vias;
    const Mpls::LfibViaSet viaSet = lfib->viaSet(route(label).viaSetKey());
    for (const auto& key : viaSet.viaKeyIteratorConst()) vias.push_back(lfib->mplsVia(key));
    return vias;
  }
  /// A line for each row, in order.
  std::set<std::string> lines() const {
    std::set<std::string> all;
    for (const auto& [key, row] : status->globalBlockIteratorConst())
      all.insert("block " + text(key) + " " + text(row.labelRange().base()) + "+" +
                 text(row.labelRange().size()));
    for (const auto& [key, row] : status->prefixSegmentIteratorConst())
      all.insert("segment " + text(key) + (row.sid().isValue() ? " label " : " index ") +
                 text(row.sid().index()) + " of " + text(row.rtrid()) + " flags " +
                 std::to_string(row.flags().value()));
    for (const auto& [key, row] : status->v4RouteIteratorConst()) addRoute(row, all);
    for (const auto& [key, row] : status->v6RouteIteratorConst()) addRoute(row, all);
    for (const auto& [key, row] : lfib->lfibRouteIteratorConst()) {
      std::string line = text(key.topLabel()) + " " + text(row.source()) + " " + text(row.fec());
      std::set<std::string> vias;
      for (const auto& via : viasOf(key.topLabel().value()))
        vias.insert(" " + text(via.nextHop()) + text(via.intf()) + text(via.labelStack()));
      for (const std::string& via : vias) line += via;
      all.insert(line);
    }
    return all;
  }
  static void addRoute(const auto& row, std::set<std::string>& all) {
    std::string line = "route " + text(row.key()) + " " + std::to_string(row.preference()) + "/" +
                       std::to_string(row.metric());
    for (const auto& via : row.viaIteratorConst())
      line += " " + text(via.nextHop()) + text(via.intf()) + text(via.labelStack());
    all.insert(line);
  }

  const Forma::Ptr<Tarn::SegmentRouting::Status> status = Tarn::SegmentRouting::statusFactory("sr");
  const Forma::Ptr<Mpls::LfibStatus> lfib = Mpls::lfibStatusFactory("sr");
  std::optional<Router> router;
  std::uint64_t changes = 0;
};

TEST_F(SrAgentTest, TheSampleBecomesTheseRows) {
  replay(sample);
  const std::set<std::string> expected = {
      "block 192.0.2.1 20000+1000",
      "block 192.0.2.2 20000+1000",
      "block 192.0.2.3 30000+500",
      "segment 192.0.2.1/32 index 1 of 192.0.2.1 flags 6",
      "segment 192.0.2.2/32 index 2 of 192.0.2.2 flags 7",
      "segment 198.51.100.0/24 label 700 of 192.0.2.1 flags 0",
      "segment 2001:db8:f::1/128 index 101 of 192.0.2.1 flags 5",
      "segment 203.0.113.0/24 label 44 of 192.0.2.3 flags 56",
      "route 192.0.2.2/32 110/20 10.9.1.2'east'[] 10.9.3.2'west'[30002]",
      "route 192.0.2.4/32 110/20 10.9.3.2'west'[30004]",
      "route 2001:db8:f::2/128 110/30 fe80::2'east'[20102, 17]",
      "16 lfibSourceIsisSrV4Adj none 10.9.1.2'east'[]",
      "17 lfibSourceIsisSrV6Adj none fe80::2'east'[]",
      "20002 lfibSourceIsisSrV4Prefix none 10.9.1.2'east'[] 10.9.3.2'west'[30002]",
      "20004 lfibSourceIsisSrV4Prefix none 10.9.1.2'east'[20004]",
      "20005 lfibSourceIsisSrV4Prefix 192.0.2.5/32 10.9.1.2'east'[20005]",
      "20102 lfibSourceIsisSrV6Prefix none fe80::2'east'[20102]"};
  EXPECT_EQ(lines(), expected);
  EXPECT_TRUE(changes != 0 && router->globalBlock() == Mpls::LabelRange(20000, 1000));

  replay(sample);
  EXPECT_EQ(changes, 0U) << "the second time nothing differs";

  // A later word of the bus takes the place of the configuration, and labels change their kind.
  const Replay::Document update(
      R"({"Ibus":{"SrCfgUpd":{"srgb":[{"lower_bound":10,"upper_bound":19}],
      "prefix_sids":[[["192.0.2.7/31","Spf"],{"index":3,"last_hop":"Php"}]]}}})",
      "update");
  router->take(update.node());
  writeRows(*status, router->rows());
  writeLabels(lfib, *router);
  std::set<std::string> later = lines();
  for (const char* line :
       {"block 192.0.2.1 10+10", "segment 192.0.2.6/31 index 3 of 192.0.2.1 flags 0",
        "16 lfibSourceIsisSrV4Prefix none 10.9.1.2'east'[]",
        "20004 lfibSourceIsisSrV4Adj none 10.9.1.2'east'[20004]"})
    EXPECT_TRUE(later.contains(line)) << line;
  EXPECT_EQ(later.size(), expected.size() - 2) << "the three prefixes of before are gone";
}

/// Where there is no such network, the sample above has to do.
TEST_F(SrAgentTest, RealNetworksHaveTheLabelsThatTheirSegmentsGive) {
  const Fs::path network = AgentTest::sharedData("holo-ospf-sr");
  if (!Fs::exists(network)) return;
  const std::map<std::string, std::size_t> routesOf = {
      {"rt1", 9}, {"rt2", 12}, {"rt3", 12}, {"rt4", 12}, {"rt5", 9}, {"rt6", 12}, {"rt7", 4}};
  std::map<Netbase::IpGenPrefix, PrefixSegment> configured;  // in the files of all routers
  for (const auto& [name, routes] : routesOf) {
    const Replay::Document config = Replay::documentOf(network / name / "config.json");
    configured.merge(Router(config.node()).rows().prefixSegments);
  }
  for (const auto& [name, routes] : routesOf) {
    replay(network / name);
    EXPECT_TRUE(lfib->lfibRoutes() == routes && lfib->mplsVias() == routes) << name;
    const GlobalBlock block = status->globalBlock(*router->id());
    std::set<std::uint32_t> labels;
    for (const auto& [prefix, row] : configured) labels.insert(block.mplsLabel(row.sid()).value());
    for (const auto& one : lfib->lfibRouteIteratorConst()) {
      const std::uint32_t label = one.key.topLabel().value();
      EXPECT_EQ(labels.contains(label), label >= 16000) << name << " " << label;
      for (const auto& via : viasOf(label))
        EXPECT_TRUE(via.labelStack().empty() || via.labelStack() == Mpls::LabelStack(label));
    }
    const auto expectPushes = [&, &name = name](const Netbase::IpGenPrefix& prefix,
                                                const auto& route) {
      const auto label = block.mplsLabel(configured.at(prefix).sid());
      for (const auto& via : route.viaIteratorConst())
        EXPECT_EQ(via.labelStack(), Mpls::LabelStack(label)) << name << " " << prefix;
    };
    for (const auto& [key, row] : status->v4RouteIteratorConst()) expectPushes(key.generic(), row);
    for (const auto& [key, row] : status->v6RouteIteratorConst()) expectPushes(key.generic(), row);
    // What was received says the same as what its sender configured.
    EXPECT_EQ(status->globalBlocks() + 1, status->prefixSegments()) << "all but the own IPv6 one";
    for (const auto& [key, row] : status->prefixSegmentIteratorConst())
      EXPECT_EQ(row, configured.at(key)) << name;
  }
}

TEST(SrAgentProgramTest, FollowsItsRecordingAndLeavesTheTablesBehind) {
  const AgentTest::Folder folder;
  Fs::copy(sample, folder / "r1");
  const std::vector<std::string> arguments = {"r1", "--run", "run"};
  AgentTest::Program agent(folder, "sr-agent", arguments);
  EXPECT_NE(agent.awaitError("in line with the recording router=r1").find(" labels=6 vias=7 "),
            std::string::npos);
  EXPECT_TRUE(Fs::exists(folder / "run/sr/r1/v6Route.head"));
  AgentTest::Program second(folder, "sr-agent", arguments);
  EXPECT_EQ(second.end(), 2);
  EXPECT_NE(second.errors().find("is written by PID " + std::to_string(agent.pid())),
            std::string::npos)
      << second.errors();

  const std::string events = folder.read("r1/events.jsonl");
  folder.replace("r1/events.jsonl", events + "{\"Ibus\":{\"RouteIpDel\":{}}}\n");
  ::kill(agent.pid(), SIGHUP);
  agent.awaitError(
      "r1/events.jsonl:33: /Ibus/RouteIpDel: expected a member prefix, found an object; "
      "the tables stay as they were");
  folder.replace("r1/events.jsonl",
                 events +
                     "\n{\"Ibus\":{\"RouteMplsDel\":{\"label\":20004,"
                     "\"nexthops\":[{\"Address\":{\"ifindex\":2,\"addr\":\"10.9.1.2\","
                     "\"labels\":[20004]}}]}}}\n");
  ::kill(agent.pid(), SIGHUP);
  const std::string line = agent.awaitError(" labels=5 vias=6 ");
  EXPECT_NE(line.find(" changedRows=3"), std::string::npos) << "route, via set and via: " << line;
  EXPECT_EQ(agent.end(SIGKILL), -SIGKILL);

  AgentTest::Program next(folder, "sr-agent", arguments);
  EXPECT_NE(next.awaitError("in line with ").find(" changedRows=0"), std::string::npos);
  EXPECT_EQ(next.end(SIGTERM), 0);
  AgentTest::Program without(folder, "sr-agent", {"r2", "--run", "run", "--once"});
  EXPECT_EQ(without.end(), 2);
  EXPECT_NE(without.errors().find("r2/config.json: cannot be read: No such file or directory"),
            std::string::npos);
}

}  // namespace
}  // namespace SrAgent
