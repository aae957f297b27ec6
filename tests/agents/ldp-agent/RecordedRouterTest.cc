/// What an LDP agent makes of its input: recorded routers, and files of bindings.
#include "agents/ldp-agent/RecordedRouter.h"

#include <gtest/gtest.h>

#include <random>

#include "agents/ldp-agent/FollowedFile.h"
#include "agents/replay/LineReader.h"
#include "agents/router-bindings/StateFile.h"
#include "ldp/LdpLibProducerSm.h"
#include "tests/agents/Data.h"
#include "tests/agents/Program.h"

namespace {

using namespace LdpAgent;
namespace Fs = std::filesystem;
using Replay::Document;

const Fs::path samples = AgentTest::sourceRoot() / "agents/ldp-agent/samples";

std::string textOf(const Fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}
LdpIdentifier router(std::uint32_t number) { return LdpIdentifier(0xc0000200 + number); }
Fec fecOf(const std::string& prefix) { return Fec(Netbase::IpGenPrefix(prefix)); }

/// A router whose bindings are published to tables as they change.
struct Published {
  explicit Published(const LdpIdentifier& self) : state(self, Mpls::lfibStatusFactory("lfib")) {}

  /// Bindings as the entities hold them; the tables have a row for each fact, and no other: none
  /// was left behind by a set that went with something in it.
  Snapshot bindings() const {
    Snapshot all = RouterBindings::snapshotOf(*state.bindings.local(), *state.bindings.peers());
    for (const auto& one : state.bindings.addresses()->intfIpToLdpIdIteratorConst())
      all.addresses[one.key] = one.value;
    EXPECT_EQ(tables->localLbts(), all.labels());
    EXPECT_EQ(tables->localLbtAdvertisedTos(), all.advertisements());
    EXPECT_EQ(tables->peerLbts(), all.peerLabels());
    return all;
  }

  RouterState state;
  Forma::Ptr<Ldp::LdpTarn::LdpLabelBindingTable> tables =
      Ldp::LdpTarn::ldpLabelBindingTableFactory("ldp");
  Forma::Ptr<Ldp::LdpTarn::LdpLibProducerSm> producer =
      Ldp::LdpTarn::ldpLibProducerSmFactory(state.bindings.local(), state.bindings.peers(), tables);
};

/// Steps through a recorded router up to its end, then loses its peers one by one.
void replay(const Fs::path& folder, std::size_t labels, std::size_t nextHops, std::size_t links) {
  SCOPED_TRACE(folder.string());
  Recording recording(folder.string());
  Published published(recording.router());
  RecordedRouter source(recording, published.state);
  while (source.step()) published.bindings();
  const Snapshot expected =
      RouterBindings::snapshotFromFile((folder / "output/northbound-state.json").string());
  EXPECT_FALSE(expected.local.empty());
  EXPECT_EQ(published.bindings(), expected);
  EXPECT_EQ(published.state.installs.labels(), labels);
  EXPECT_EQ(published.state.installs.nextHops(), nextHops);
  EXPECT_EQ(published.state.links.readyLinks(), links);
  source.readMore();  // the same lines
  EXPECT_FALSE(source.step());

  Snapshot left = expected;
  for (const auto& one : expected.peers) {
    const LdpIdentifier peer = one.first;
    published.state.peerDel(peer);
    left.peers.erase(peer);
    std::erase_if(left.addresses, [&](const auto& address) { return address.second == peer; });
    for (auto& [fec, told] : left.advertised) told.erase(peer);
    std::erase_if(left.advertised, [](const auto& told) { return told.second.empty(); });
    EXPECT_EQ(published.bindings(), left) << "a peer takes its own along, and nothing else";
  }
  EXPECT_EQ(published.state.installs.labels(), 0U);
  EXPECT_EQ(published.state.links.readyLinks(), 0U);
  EXPECT_EQ(left.local, expected.local);
}

TEST(RecordedRouterTest, EndsInTheStateThatTheRouterTold) {
  replay(samples / "west", 3, 3, 2);
  replay(samples / "east", 2, 2, 1);
  if (Fs::exists(AgentTest::sharedData("holo-ldp")))
    for (const char* const name : {"rt1", "rt2", "rt3", "rt4"})
      replay(AgentTest::sharedData("holo-ldp") / name, 5, 6, 2);
}

/// Messages at random, against plain maps.
class Model {
 public:
  Snapshot expected;

  void sent(const LdpIdentifier& peer, const LabelMessage& message) {
    for (const Fec& fec : fecsOf(message, expected.local)) {
      if (message.kind == LabelMessage::Kind::mapping) {
        expected.local[fec] = {*message.label};
        expected.advertised[fec].insert(peer);
      } else if (binds(expected.local, fec, message)) {
        drop(expected.advertised, fec, peer);
        if (!expected.advertised.contains(fec)) expected.local.erase(fec);
      }
    }
  }
  void received(const LdpIdentifier& peer, const LabelMessage& message) {
    if (message.kind == LabelMessage::Kind::release) {
      for (const Fec& fec : fecsOf(message, expected.local)) drop(expected.advertised, fec, peer);
      return;
    }
    auto& labels = expected.peers[peer];
    for (const Fec& fec : fecsOf(message, labels)) {
      if (message.kind == LabelMessage::Kind::mapping) labels[fec] = {*message.label};
      else if (binds(labels, fec, message)) labels.erase(fec);
    }
    if (labels.empty()) expected.peers.erase(peer);
  }
  void lost(const LdpIdentifier& peer) {
    expected.peers.erase(peer);
    for (const Fec& fec : keysOf(expected.advertised)) drop(expected.advertised, fec, peer);
  }

 private:
  static std::vector<Fec> keysOf(const auto& map) {
    std::vector<Fec> keys;
    for (const auto& one : map) keys.push_back(one.first);
    return keys;
  }
  static std::vector<Fec> fecsOf(const LabelMessage& message, const Snapshot::Labels& bound) {
    if (message.fecs[0].fec) return {*message.fecs[0].fec};
    std::vector<Fec> fecs = keysOf(bound);
    std::erase_if(fecs, [&](const Fec& fec) {
      return message.fecs[0].family != Netbase::afUnknown_ &&
             fec.prefix().af() != message.fecs[0].family;
    });
    return fecs;
  }
  static bool binds(const Snapshot::Labels& bound, const Fec& fec, const LabelMessage& message) {
    const auto at = bound.find(fec);
    return at != bound.end() && (!message.label || at->second.contains(*message.label));
  }
  static void drop(Snapshot::Peers& sets, const Fec& fec, const LdpIdentifier& peer) {
    const auto at = sets.find(fec);
    if (at != sets.end() && at->second.erase(peer) != 0 && at->second.empty()) sets.erase(at);
  }
};

TEST(BindingsTest, FollowAModelOfTheMessages) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  const auto pick = [&random](unsigned count) {
    return static_cast<std::uint32_t>(random() % count);
  };
  Published published(router(1));
  Bindings& bindings = published.state.bindings;
  Model model;
  for (int step = 0; step < 4000; ++step) {
    const LdpIdentifier peer = router(2 + pick(3));
    LabelMessage message;
    message.kind = static_cast<LabelMessage::Kind>(pick(3));
    FecElement element;
    if (message.kind == LabelMessage::Kind::mapping || pick(8) != 0)
      element.fec = fecOf(pick(4) == 0 ? "2001:db8::" + std::to_string(pick(3)) + "/128"
                                       : "10.0." + std::to_string(pick(5)) + ".0/24");
    else element.family = static_cast<Netbase::AddressFamily>(pick(3));
    message.fecs = {element};
    if (message.kind == LabelMessage::Kind::mapping || pick(2) == 0)
      message.label = Label(16 + pick(3));
    const auto what = pick(40);
    if (what == 0) {
      bindings.peerDel(peer);
      model.lost(peer);
    } else if (what == 1) {  // what a file says is reached from anywhere, and back
      const Snapshot here = model.expected;
      bindings.snapshotIs({});
      EXPECT_EQ(published.bindings(), Snapshot());
      bindings.snapshotIs(here);
    } else if (what % 2 == 0) {
      if (message.kind == LabelMessage::Kind::release) continue;
      bindings.sent(peer, message);
      model.sent(peer, message);
    } else {
      bindings.received(peer, message);
      model.received(peer, message);
    }
    ASSERT_EQ(published.bindings(), model.expected) << "step " << step;
  }
}

TEST(FollowedFileTest, TakesBothFormsAndWritesWhatDiffers) {
  const std::vector<NeighborHop> hops{
      {router(2), Netbase::IpGenAddr("198.51.100.2"), Netbase::IntfId("to-east")},
      {router(3), Netbase::IpGenAddr("198.51.100.6"), Netbase::IntfId()}};
  AgentTest::Folder folder;
  folder.write("plain", textOf(samples / "bindings.json"));
  Published published(router(1));
  FollowedFile source((folder / "plain").string(), hops, published.state);
  EXPECT_TRUE(source.step());
  EXPECT_FALSE(source.step());
  Snapshot all = published.bindings();
  EXPECT_EQ(all.local.at(fecOf("192.0.2.1/32")), std::set<Label>{3});
  EXPECT_EQ(all.peers.at(router(2)).at(fecOf("192.0.2.3/32")), std::set<Label>{25});
  EXPECT_EQ(all.local.size(), 5U) << "that of a FEC without neighbours too";
  EXPECT_TRUE(all.advertised.empty()) << "is not in this form";
  EXPECT_EQ(all.addresses.size(), 2U);
  EXPECT_EQ(published.state.installs.labels(), 3U) << "of bindings in use, but for implicit null";
  EXPECT_TRUE(published.state.links.isReady(Netbase::IntfId("to-east")));

  const std::string detail = textOf(samples / "bindings-detail.json");
  EXPECT_EQ(RouterBindings::bindingFileFrom(Document(detail, "detail").node()).snapshot.peers,
            all.peers);
  folder.replace("plain", detail);
  source.readMore();
  EXPECT_TRUE(source.step());
  EXPECT_EQ(published.bindings().advertisements(), 10U);
  folder.replace("plain", R"({"2001:db8::1\/128": {"localLabel": "exp-null", "remoteLabels":
      [{"neighborId": "192.0.2.9", "label": 700, "inUse": true}]}, "10.1.1.1/8": {"localLabel": 90,
      "remoteLabels": [{"neighborId": "192.0.2.3", "label": "exp-null", "inUse": 1}]}})");
  source.readMore();
  EXPECT_TRUE(source.step());
  all = published.bindings();
  EXPECT_EQ(all.local,
            (Snapshot::Labels{{fecOf("10.0.0.0/8"), {90}}, {fecOf("2001:db8::1/128"), {2}}}));
  EXPECT_EQ(all.peers, (std::map<LdpIdentifier, Snapshot::Labels>{
                           {router(3), {{fecOf("10.0.0.0/8"), {0}}}},
                           {router(9), {{fecOf("2001:db8::1/128"), {700}}}}}));
  EXPECT_EQ(published.state.installs.labels(), 1U);
  EXPECT_FALSE(published.state.links.isReady(Netbase::IntfId("to-east")));
  folder.replace("plain", "{");
  EXPECT_THROW(source.readMore(), Replay::InputError);
  EXPECT_FALSE(source.step());
}

/// A message of a line, or what is wrong with the line.
std::string problemOf(const std::string& line, bool isSent = false) {
  try {
    const Document document(line, "file:7");
    if (isSent) (void)sentFrom(document.node());
    else (void)eventsFrom(document.node());
    return "";
  } catch (const Replay::InputError& problem) {
    return problem.what();
  }
}

TEST(RecordingTest, SaysWhatIsWrongWithALineAndWhere) {
  const auto received = [](const std::string& message) {
    return R"({"Protocol": {"NbrRxPdu": {"nbr_id": 1, "pdu": {"Ok": {"lsr_id": "192.0.2.2",
        "lspace_id": 0, "messages": [)" +
           message + "]}}}}}";
  };
  const std::string at = "file:7: /Protocol/NbrRxPdu/pdu/Ok/messages/0";
  const auto label = [&](const std::string& rest) {
    return received(R"({"Label": {)" + rest + "}}");
  };
  EXPECT_EQ(problemOf(label(R"("msg_type": "LabelMapping", "fec": [], "label": 1048576)")),
            at + "/Label/label: expected a label, found 1048576");
  EXPECT_EQ(problemOf(label(R"("msg_type": "LabelMapping", "fec": [{"Prefix": "10.0.0.0"}])")),
            at + "/Label/fec/0/Prefix: expected an IP prefix, found \"10.0.0.0\"");
  EXPECT_EQ(
      problemOf(label(R"("msg_type": "LabelMapping", "fec": [{"Wildcard": "All"}], "label": 3)")),
      at + "/Label/fec: expected prefixes to be bound, found an array");
  EXPECT_EQ(problemOf(label(R"("msg_type": "LabelMapping", "fec": [])")),
            at + "/Label: expected a label, found an object");
  EXPECT_EQ(problemOf(label(R"("msg_type": "Label", "fec": [])")),
            at + "/Label/msg_type: expected the type of a label message, found \"Label\"");
  EXPECT_EQ(problemOf(label(R"("msg_type": "LabelWithdraw", "fec": [{"Wildcard": {"Typed":
                {"Prefix": "Ipx"}}}])")),
            at + "/Label/fec/0/Wildcard/Typed/Prefix: expected Ipv4 or Ipv6, found \"Ipx\"");
  EXPECT_EQ(problemOf(received(R"({"Address": {"msg_type": "Address", "addr_list": {"Ipv4":
                ["::1", "x"]}}})")),
            at + "/Address/addr_list/Ipv4/1: expected an IP address, found \"x\"");
  EXPECT_EQ(problemOf(R"({"NbrTxPdu": {"nbr_id": -1, "msg": {"Keepalive": {}}}})", true),
            "file:7: /NbrTxPdu/nbr_id: expected a number of 32 bits, found -1");
  EXPECT_EQ(problemOf(R"({"Ibus": {"InterfaceUpd": {"ifname": "a name of 16 by", "ifindex": 1}}})"),
            "file:7: /Ibus/InterfaceUpd: expected a member flags, found an object");
  EXPECT_EQ(problemOf(received(R"({"Unknown": 1}, {"Label": {"msg_type": "LabelRequest"}})")), "");
  EXPECT_EQ(problemOf(R"({"Timer": {}})"), "");

  AgentTest::Folder folder;
  folder.write("config.json", R"({"ietf-routing:routing": {}})");
  EXPECT_THROW(Recording(folder.path().string()), Replay::InputError);
}

}  // namespace
