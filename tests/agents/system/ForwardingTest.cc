/// The forwarding agent among the others: started first, killed, and with an LFIB of somebody else.
#include "mpls/lfib/LfibStatus.h"
#include "platform/tarn/WriterDirectory.h"
#include "tests/agents/system/System.h"

namespace {

using namespace AgentTest;

class ForwardingTest : public System {
 protected:
  using Strings = std::vector<std::string>;

  static std::string vias(const std::string& vrf) {
    return R"({"ipLookup": [{"label": 500, "vrf": ")" + vrf +
           R"(", "family": "ipv4"}], "pseudowire": [{"interface": "pw1", "type": "ethernet",
               "labels": [600, 601]}]})";
  }
  std::unique_ptr<Program> startForwarding() const {
    return start("forwarding-agent",
                 {"--run", "run", "--lfib", "run/lfib/static", "--lfib", "run/lfib/other"});
  }
  /// "LABEL VRF LFIB" for each.
  Strings lookups() const {
    Strings all;
    const Json shown = show({"lfib", "lookups"});
    for (const Json& one : shown.at("records"))
      all.push_back(one.at("label").dump() + " " + one.at("vrf").get<std::string>() + " " +
                    one.at("lfib").get<std::string>());
    return all;
  }
  /// "LABEL CODE LFIB:REASON..." for each.
  Strings unprogrammed() const {
    Strings all;
    const Json shown = show({"lfib", "unprogrammed", "--run", "run"});
    for (const Json& one : shown.at("records")) {
      all.push_back(one.at("label").dump() + " " + one.at("code").get<std::string>());
      for (const Json& reason : one.at("reasons"))
        all.back() += " " + reason.at("lfib").dump() + ":" + reason.at("reason").get<std::string>();
    }
    return all;
  }
};

TEST_F(ForwardingTest, WaitsForAllAndIsRebuiltAfterAKill) {
  auto forwarding = startForwarding();
  forwarding->awaitError("forwards routes=0 ");
  folder.write("vias", vias("red"));
  folder.write("static", "mpls lsp 100 10.0.0.1 200\n");
  auto writer = start("lfib-writer", {"--run", "run", "--vias", "vias"});
  forwarding->awaitError("an LFIB has a writer ");
  startAll({"centrum", "mpls-agent", "static"});
  while (lookups() != Strings{"500 red static"}) {
  }
  writer->awaitError("in line with the merged routes routes=4 ");
  EXPECT_EQ(unprogrammed(), Strings{});

  folder.replace("vias", "{\"ipLookup\": 1}");
  writer->awaitError(" lfib-writer: vias: /ipLookup: expected an array, found \"1\"");
  writer->awaitError(" lfib-writer: vias: has errors, its labels stay as they were");
  folder.replace("vias", vias("blue"));
  writer->awaitError("file=vias ipLookups=1 pseudowireLabels=2 tags=0");
  while (lookups() != Strings{"500 blue static"}) {
  }
  EXPECT_EQ(forwarding->end(SIGKILL), -SIGKILL);
  folder.replace("vias", vias("green"));
  writer->awaitError("file=vias ipLookups=1 pseudowireLabels=2 tags=0");
  EXPECT_EQ(lookups(), Strings{"500 blue static"}) << "as last published";
  EXPECT_EQ(writer->end(SIGKILL), -SIGKILL);
  forwarding = startForwarding();  // the LFIB is there without its writer
  forwarding->awaitError("forwards routes=4 viaSets=3 unprogrammed=0");
  while (lookups() != Strings{"500 green static"}) {
  }
  writer = start("lfib-writer", {"--run", "run"});
  while (!lookups().empty()) {  // without a file there are none
  }
  EXPECT_EQ(writer->end(SIGTERM), 0);
  EXPECT_EQ(forwarding->end(SIGTERM), 0);
}

TEST_F(ForwardingTest, SaysWhichRoutesAreNotForwardedAndWhy) {
  using namespace Mpls;
  folder.write("vias", vias("red"));
  startAll({"centrum"});
  const auto writer = start("lfib-writer", {"--run", "run", "--vias", "vias"});
  writer->awaitError(" ipLookups=1 ");
  Kiln::EventLoop loop;
  Tarn::WriterDirectory directory(
      loop,
      {.path = (folder / "run/lfib/other").string(), .owner = "", .group = "", .agent = "test"},
      [](const std::string& text) { ADD_FAILURE() << text; });
  const auto lfib = lfibStatusFactory("other");
  FormaTarn::attachWriter(*lfib, directory);
  const auto ldp = LFib::lfibSourceLdp_;
  const LfibViaSetKey viaSet(ldp, 1, viaTypeMplsIp_);
  const LfibViaKey via(ldp, viaTypeMplsIp_, 1);
  lfib->viaSetIs({viaSet, {via}});
  lfib->lfibRouteIs({RouteKey(600, 0), viaSet, LFib::lfibSourceBgpLu_});  // claimed by both
  lfib->lfibRouteIs({RouteKey(700, 0), viaSet, ldp});
  directory.ring();
  auto forwarding = startForwarding();
  const Strings missing = {"600 conflict 1:Conflict", "700 adjacencyNotProgrammed 1:ViasMissing"};
  forwarding->awaitError("forwards routes=3 viaSets=2 unprogrammed=2");
  EXPECT_EQ(unprogrammed(), missing);
  EXPECT_EQ(forwarding->end(SIGKILL), -SIGKILL);
  EXPECT_EQ(unprogrammed(), missing) << "the table outlives its writer";
  forwarding = startForwarding();
  forwarding->awaitError("forwards routes=3 viaSets=2 unprogrammed=2");
  lfib->mplsViaIs({via, Netbase::IpGenAddr("10.0.0.1"), Netbase::swap_, 800, false});
  while (unprogrammed() != Strings{"600 conflict 1:Conflict"}) loop.runOnce(0.01);
  const Result second = run("forwarding-agent", {"--run", "run"});
  EXPECT_EQ(second.code, 2);
  EXPECT_NE(second.errors.find("; end that one, or choose another --table"), std::string::npos)
      << second.errors;
  EXPECT_EQ(run("forwarding-agent", {"--lfib", "a/x", "--lfib", "b/x"}).code, 2);
}

}  // namespace
