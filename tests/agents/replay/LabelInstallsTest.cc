// Random label installs, renamed interfaces, moves between sources and restarts: after each write
// the LFIB holds what a plain map of the events holds, and nothing else.
#include "agents/replay/LabelInstalls.h"

#include <gtest/gtest.h>

#include <random>

#include "agents/replay/LineReader.h"
#include "tests/support/Checks.h"

namespace Replay {
namespace {

using Mpls::LFib::Source;
using Netbase::IpGenAddr;
using Netbase::MplsLabel;

class LabelInstallsTest : public ::testing::Test {
 protected:
  std::uint32_t below(std::uint32_t n) { return static_cast<std::uint32_t>(random() % n); }
  nlohmann::json anyHop() {
    const char* const addresses[] = {"10.0.0.1", "10.0.0.2", "fe80::1"};
    nlohmann::json labels = nlohmann::json::array({below(2) == 0 ? 3 : 100 + below(2)});
    if (below(4) == 0) labels.push_back(3);
    return {{"Address",
             {{"ifindex", 1 + below(2)}, {"addr", addresses[below(3)]}, {"labels", labels}}}};
  }

  /// An event, for the installs by its JSON and for the model by what it means.
  void event() {
    nlohmann::json hops = nlohmann::json::array();
    for (std::uint32_t i = 1 + below(3); i != 0; --i) hops.push_back(anyHop());
    const std::uint32_t label = 16 + below(6), kind = below(3);
    const std::string prefix = "192.0.2." + std::to_string(below(3)) + "/32";
    nlohmann::json body = {{"label", label}, {"nexthops", hops}, {"route", {"ospfv2", prefix}}};
    if (kind != 2) body["replace"] = kind == 1;
    const nlohmann::json line = {{"Ibus", {{kind == 2 ? "RouteMplsDel" : "RouteMplsAdd", body}}}};
    installs->take(*labelChangeFrom(*ibusOf(Document(line.dump(), "test").node())));
    if (kind == 1) model.erase(label);
    for (const auto& hop : hops) {
      if (kind == 2 && model.contains(label)) model[label].hops.erase(hop);
      if (kind != 2) model[label].hops.insert(hop);
    }
    if (kind != 2) model[label].fec = prefix;
    std::erase_if(model, [](const auto& one) { return one.second.hops.empty(); });
  }
  void loseNextHop(const std::string& address) {
    installs->nextHopDel(IpGenAddr(address));
    for (auto& [label, state] : model)
      std::erase_if(state.hops, [&](const auto& hop) { return hop["Address"]["addr"] == address; });
    std::erase_if(model, [](const auto& one) { return one.second.hops.empty(); });
  }
  void drop(std::uint32_t label) {
    installs->labelDel(label);
    model.erase(label);
  }
  void rename() {
    const std::uint32_t index = 1 + below(2);
    names[index] = "eth" + std::to_string(below(3));
    const nlohmann::json update = {
        {"InterfaceUpd", {{"ifindex", index}, {"ifname", names[index]}}}};
    if (interfaces.take(Document(update.dump(), "test").node())) installs->allChanged();
  }
  void restart() {
    installs.emplace(
        lfib, sources, [this](MplsLabel label, const auto&) { return sourceOf(label); },
        interfaces);
  }
  Source sourceOf(MplsLabel label) const { return sources[(label.value() + shift) % 2]; }

  /// What stands in the LFIB, and what ought to, as texts.
  std::map<std::string, std::set<std::string>> found() const {
    std::map<std::string, std::set<std::string>> all;
    for (const auto& [key, row] : lfib->lfibRouteIteratorConst()) {
      auto& vias = all[text(key) + text(row.source()) + text(row.fec())];
      const Mpls::LfibViaSet viaSet = lfib->viaSet(row.viaSetKey());
      for (const auto& viaKey : viaSet.viaKeyIteratorConst()) {
        const Mpls::LfibMplsVia via = lfib->mplsVia(viaKey);
        vias.insert(text(via.nextHop()) + text(via.intf()) + text(via.labelAction()) +
                    text(via.labelStack()));
      }
    }
    return all;
  }
  std::map<std::string, std::set<std::string>> wanted() const {
    std::map<std::string, std::set<std::string>> all;
    for (const auto& [label, state] : model) {
      const Mpls::RouteKey key(label, 100);
      auto& vias = all[text(key) + text(sourceOf(label)) + state.fec];
      for (const auto& node : state.hops) {
        const auto& hop = node["Address"];
        const std::uint32_t first = hop["labels"][0];
        const auto name = names.find(hop["ifindex"].get<std::uint32_t>());
        const std::string way =
            hop["addr"].get<std::string>() + "'" + (name == names.end() ? "" : name->second) + "'";
        if (first == 3 && hop["labels"].size() == 1) vias.insert(way + "pop[]");
        else
          vias.insert(way + "swap[" + std::to_string(first) +
                      (hop["labels"].size() == 2 ? ", 3]" : "]"));
      }
    }
    return all;
  }
  static std::string text(const auto& v) {
    std::string out;
    Forma::print(out, v);
    return out;
  }

  struct State {
    std::set<nlohmann::json> hops;
    std::string fec;
  };
  static constexpr std::array<Source, 2> sources = {Mpls::LFib::lfibSourceLdp_,
                                                    Mpls::LFib::lfibSourceBgpLu_};
  std::mt19937 random{3};
  Interfaces interfaces;
  std::map<std::uint32_t, std::string> names;
  std::map<std::uint32_t, State> model;
  std::uint32_t shift = 0;
  const Forma::Ptr<Mpls::LfibStatus> lfib = Mpls::lfibStatusFactory("test");
  std::optional<LabelInstalls> installs;
};

TEST_F(LabelInstallsTest, TheLfibFollowsTheEvents) {
  restart();
  for (int step = 0; step < 6000; ++step) {
    const std::uint32_t what = below(100);
    if (what < 2) rename();
    else if (what < 4) loseNextHop(below(2) == 0 ? "10.0.0.2" : "fe80::1");
    else if (what < 5) shift = 1 - shift, installs->allChanged();
    else if (what < 6) drop(16 + below(6));
    else if (what < 7) {
      // The model is gone with the process: other events make another one. A via was left behind.
      const Mpls::LfibViaKey left(sources[below(2)], Mpls::viaTypeMplsIp_, 500);
      lfib->mplsViaCommit(Mpls::LfibMplsVia(left));
      restart();
      model.clear();
      for (int i = 0; i < 10; ++i) event();
      installs->finish();
      ASSERT_EQ(lfib->mplsVia(left), Mpls::LfibMplsVia()) << step;
    } else event();
    if (below(3) != 0) continue;
    installs->write();
    ASSERT_EQ(found(), wanted()) << step;
    ASSERT_EQ(installs->labels(), model.size());
    std::size_t nextHops = 0;
    for (const auto& one : model) nextHops += one.second.hops.size();
    ASSERT_EQ(installs->nextHops(), nextHops);
  }
  installs->clear();
  installs->write();
  EXPECT_EQ(lfib->lfibRoutes() + lfib->viaSets() + lfib->mplsVias(), 0U);
}

/// Each is refused with its place.
TEST(NodeTest, WhatIsWrongIsToldWithItsPlace) {
  const std::string hop = R"({"Address":{"ifindex":1,"addr":"10.0.0.1","labels":[3]}})";
  const auto add = [](const std::string& label, const std::string& hops) {
    return R"({"RouteMplsAdd":{"label":)" + label + R"(,"nexthops":[)" + hops + R"(]}})";
  };
  const std::map<std::string, std::string> expected = {
      {"{", "expected JSON: "},
      {"[]", "expected an object with one member, found an array"},
      {R"({"Ibus":{},"Other":{}})", "expected an object with one member, found an object"},
      {add("1048576", hop), "/RouteMplsAdd/label: expected a label, found 1048576"},
      {add("-1", hop), "/RouteMplsAdd/label: expected a label, found -1"},
      {add("\"a\\u0001\\n\"", hop), R"(/RouteMplsAdd/label: expected a label, found "a\u0001\n")"},
      {add("16", "{}"),
       "/RouteMplsAdd/nexthops/0: expected an object with one member, found an object"},
      {add("16", hop + "," + R"({"Adress":{}})"),
       "/RouteMplsAdd/nexthops/1: expected a next hop: Address or Interface, found an object"},
      {add("16", R"({"Address":{"ifindex":1,"addr":"10.0.0"}})"),
       R"(/RouteMplsAdd/nexthops/0/Address/addr: expected an IP address, found "10.0.0")"},
      {R"({"RouteMplsDel":{"label":16}})",
       "/RouteMplsDel: expected a member nexthops, found an object"},
      {R"({"RouteMplsAdd":{"label":16,"nexthops":[],"route":["ospfv2","10.0.0.1/33"]}})",
       R"(/RouteMplsAdd/route/1: expected an IP prefix, found "10.0.0.1/33")"},
      {R"({"InterfaceUpd":{"ifindex":1,"ifname":"a/b"}})",
       R"(/InterfaceUpd/ifname: expected an interface name of at most 15 bytes, found "a/b")"}};
  for (const auto& [line, problem] : expected) {
    const std::string told = Checks::raised<InputError>([&, &text = line] {
      const Document event(text, "f:7");
      if (const auto ibus = ibusOf(event.node())) {
        labelChangeFrom(*ibus);
        Interfaces().take(*ibus);
      }
    });
    EXPECT_EQ(told.substr(0, 5 + problem.size()), "f:7: " + problem) << line;
  }
  for (const auto& [text, masked] :
       std::map<std::string, std::string>{{"10.255.255.255/9", "10.128.0.0/9"},
                                          {"2001:db8::ffff/127", "2001:db8::fffe/127"},
                                          {"1.2.3.4/0", "0.0.0.0/0"},
                                          {"fe80::1/128", "fe80::1/128"}})
    EXPECT_EQ(maskedPrefix(text), Netbase::IpGenPrefix(masked));
  for (const char* text : {"10.0.0.0", "10.0.0.0/", "10.0.0.0/33", "/8", "none/0", "10.0.0.0/8 "})
    EXPECT_FALSE(maskedPrefix(text)) << text;
}

}  // namespace
}  // namespace Replay
