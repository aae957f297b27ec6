/// The checks of `mplsctl verify`: sound state passes, and each kind of fault is found where it is.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>

#include "platform/forma/Errors.h"
#include "tests/agents/Program.h"
#include "tools/mplsctl/VerifyLabels.h"
#include "tools/mplsctl/VerifyLdp.h"
#include "tools/mplsctl/VerifyLfib.h"
#include "tools/mplsctl/VerifyRoutes.h"
#include "tools/mplsctl/VerifyTable.h"

namespace {

using namespace MplsCtl;
using namespace Mpls;
using AgentTest::Folder;
namespace Fs = std::filesystem;
using Netbase::MplsLabel;
using Result = Check::Result;

constexpr auto source = LFib::lfibSourceStaticMpls_;

LfibViaKey viaKey(std::uint32_t index, LfibViaType type = viaTypeMplsIp_) {
  return {source, type, index};
}
LfibViaSetKey setKey(std::uint32_t index, LfibViaType type = viaTypeMplsIp_) {
  return {source, index, type};
}
RouteKey routeKey(std::uint32_t label, std::uint8_t metric = 1) {
  return {MplsLabel(label), metric};
}

/// One route, its via set and its via, each of that number.
void addChain(LfibStatus& lfib, std::uint32_t number) {
  LfibMplsVia via(viaKey(number));
  via.labelActionIs(Netbase::swap_);
  lfib.mplsViaCommit(via);
  lfib.viaSetCommit(LfibViaSet(setKey(number), {viaKey(number)}));
  lfib.lfibRouteCommit(LfibRoute(routeKey(number), setKey(number), source));
}

/// The findings of each check, by name; those without any have an empty list.
using Findings = std::map<std::string, std::vector<std::string>>;
CheckSink into(Findings& findings) {
  return [&findings](const Check& check) { findings[check.name()] = check.findings(); };
}
const Pause noPause = [] {};

// ---- Tables ------------------------------------------------------------------------------------

class TableVerifyTest : public testing::Test {
 protected:
  static constexpr std::uint32_t rows = 1000;

  TableVerifyTest() {
    Kiln::EventLoop loop;
    Tarn::WriterDirectory directory(loop, {path(), "", "", 0755, "test"}, [](const auto&) {});
    const auto lfib = lfibStatusFactory("lfib");
    FormaTarn::attachWriter(*lfib, directory);
    for (std::uint32_t i = 0; i < rows; ++i) addChain(*lfib, 16 + i);
    for (std::uint32_t i = 0; i < rows; i += 2) lfib->lfibRouteDel(routeKey(16 + i));
  }

  std::string path() const { return (folder / "lfib").string(); }
  /// The file of the routes whose name has `what` in it.
  std::string file(const std::string& what) const {
    for (const auto& one : Fs::directory_iterator(path()))
      if (const std::string name = one.path().filename();
          name.starts_with("lfibRoute.") && name.find(what) != std::string::npos)
        return one.path();
    ADD_FAILURE() << "no file " << what;
    return {};
  }
  Check check() const {
    std::optional<Check> found;
    eachTable(path(), [&](const TableFile& table) {
      if (table.name == "lfibRoute") found.emplace(tableLayoutCheck(table));
    });
    return found.value();
  }
  template <class Number>
  void change(const std::string& name, std::size_t at, Number difference) const {
    std::fstream stream(name, std::ios::in | std::ios::out | std::ios::binary);
    Number number{};
    stream.seekg(static_cast<std::streamoff>(at))
        .read(reinterpret_cast<char*>(&number), sizeof number);
    number = static_cast<Number>(number ^ difference);
    stream.seekp(static_cast<std::streamoff>(at))
        .write(reinterpret_cast<char*>(&number), sizeof number);
  }
  static Tarn::Word wordAt(const std::string& name, std::size_t at) {
    Tarn::Word word = 0;
    std::ifstream(name, std::ios::binary)
        .seekg(static_cast<std::streamoff>(at))
        .read(reinterpret_cast<char*>(&word), sizeof word);
    return word;
  }
  /// What the damage is found out as; then puts the files back as they were.
  std::string found(const std::function<void()>& damage) const {
    Fs::copy(path(), folder / "kept", Fs::copy_options::recursive);
    damage();
    const Check now = check();
    Fs::remove_all(path());
    Fs::rename(folder / "kept", path());
    EXPECT_EQ(now.result(), Result::damage);
    EXPECT_EQ(check().result(), Result::pass) << "what was put back";
    return now.findings().empty() ? "nothing" : now.findings()[0];
  }
  /// Where words of the index stand that name records, in the file of chunk 0 or the next ones.
  std::pair<std::string, std::vector<std::size_t>> words() const {
    for (const char* const chunk : {".pages0", ".pages1", ".pages2"}) {
      const std::string name = file(chunk);
      std::ifstream stream(name, std::ios::binary);
      std::vector<std::size_t> places;
      Tarn::Word word = 0;
      for (std::size_t at = 0; stream.read(reinterpret_cast<char*>(&word), sizeof word); at += 8)
        if (Tarn::namesRecord(word) && word >> Tarn::tagShift != 0) places.push_back(at);
      if (places.size() > 2) return {name, places};
    }
    return {};
  }

  const Folder folder;
};

TEST_F(TableVerifyTest, EachKindOfDamageIsNamed) {
  const Check sound = check();
  EXPECT_EQ(sound.result(), Result::pass);
  EXPECT_EQ(sound.summary(), "500 rows");
  const auto [inPages, places] = words();
  const auto& pages = inPages;  // which lambdas can capture
  ASSERT_GT(places.size(), 2U);
  const std::size_t word = places[0];
  const auto inLine = *std::ranges::find_if(places, [](std::size_t at) { return at % 64 == 0; });
  const Tarn::Word named = wordAt(pages, word);
  const std::string segment = file(".seg" + std::to_string(Tarn::segmentOf(named)));
  const std::string head = file(".head"), directory = file(".dir");
  const std::size_t row = Tarn::offsetOf(named) + sizeof(Tarn::RecordHeader);
  using Tarn::HeadState;
  const std::size_t counted = Tarn::headStateAt + offsetof(HeadState, rows);
  const std::size_t limit = Tarn::headStateAt + offsetof(HeadState, sequenceLimit);

  const std::pair<const char*, std::function<void()>> damages[] = {
      {"the checksum of the row is wrong", [&] { change<char>(segment, row, 1); }},
      {"the row does not lie in its segment",
       [&] { change<std::uint32_t>(segment, row - 16, 0x7fffffff); }},
      {"the segment is missing, or cut short", [&] { Fs::remove(segment); }},
      {"the segment is missing, or cut short", [&] { Fs::resize_file(segment, 64); }},
      {"the index has another hash", [&] { change(pages, word, Tarn::Word{1} << 40); }},
      {"a word of the index names no record",
       [&] { change(pages, word, named ^ (named >> 39 << 39) ^ 3); }},
      {"a second row of the key at",
       [&] { change(pages, inLine + 8, wordAt(pages, inLine) ^ wordAt(pages, inLine + 8)); }},
      {"of the index's directory has the depth",
       [&] { change(directory, 0, Tarn::Word{1} << 33); }},
      {"the head counts 500 rows, the index has 499", [&] { change(pages, word, named ^ 1); }},
      {"the head counts 501 rows", [&] { change<Tarn::Word>(head, counted, 500 ^ 501); }},
      {"sequence that was never given", [&] { change(head, limit, wordAt(head, limit)); }},
      {"damaged: its checksum is wrong",
       [&] { change<char>(head, offsetof(Tarn::HeadFixed, seed), 1); }},
      {"cut short", [&] { Fs::resize_file(head, 100); }},
      {".dir", [&] { Fs::resize_file(directory, 0); }},
      {"cut short", [&] { Fs::resize_file(pages, 8); }},
  };
  for (const auto& [text, damage] : damages) {
    const std::string finding = found(damage);
    EXPECT_NE(finding.find(text), std::string::npos) << text << "\nis called " << finding;
  }
}

// ---- Rows --------------------------------------------------------------------------------------

/// What the check of the table refuses is written all the same.
void refused(const std::function<void()>& write) {
  EXPECT_THROW(write(), Forma::InternalException);
}

TEST(LfibVerifyTest, WhatRowsSayOfEachOtherIsCompared) {
  const auto lfib = lfibStatusFactory("lfib");
  for (std::uint32_t i = 0; i < 500; ++i) addChain(*lfib, 100 + i);
  Findings findings;
  verifyLfib(*lfib, "here", into(findings));
  EXPECT_EQ(findings, (Findings{{"references", {}}, {"homogeneity", {}}, {"unreferenced", {}}}));

  lfib->viaSetDel(setKey(101));
  lfib->mplsViaDel(viaKey(102));
  refused([&] { lfib->viaSetCommit(LfibViaSet(setKey(103), {viaKey(103, viaTypeVlan_)})); });
  lfib->viaSetCommit(LfibViaSet(setKey(9, viaTypeVlan_), {}));
  refused(
      [&] { lfib->lfibRouteCommit(LfibRoute(routeKey(104, 7), setKey(9, viaTypeVlan_), source)); });
  lfib->lfibRouteDel(routeKey(105));
  verifyLfib(*lfib, "here", into(findings));
  EXPECT_EQ(findings["references"],
            (std::vector<std::string>{
                "route label 101 metric 1: no via set StaticMpls 101, type MplsIp",
                "via set StaticMpls 102, type MplsIp: no via StaticMpls 102, type MplsIp",
                "via set StaticMpls 103, type MplsIp: no via StaticMpls 103, type Vlan"}));
  EXPECT_EQ(
      findings["homogeneity"],
      (std::vector<std::string>{
          "route label 104 metric 7: its via set StaticMpls 9, type Vlan asks for the metric 0",
          "via set StaticMpls 103, type MplsIp: via StaticMpls 103, type Vlan is of another "
          "type"}));
  EXPECT_EQ(findings["unreferenced"],
            (std::vector<std::string>{"via set StaticMpls 105, type MplsIp: no route leads to it",
                                      "via StaticMpls 101, type MplsIp: no via set names it",
                                      "via StaticMpls 103, type MplsIp: no via set names it"}));
}

TEST(RouteVerifyTest, TheLfibHoldsTheMergedRoutesAndNoOthers) {
  const auto input = routeConfigInputFactory("input");
  const auto config = routeConfigFactory("merged");
  const auto lfib = lfibStatusFactory("lfib");
  for (std::uint32_t i = 0; i < 5; ++i) {
    addChain(*lfib, 100 + i);
    const auto route = input->newRoute(routeKey(100 + i));
    Via via;
    via.labelActionIs(Netbase::swap_);
    route->viaIs(via, true);
    config->routeIs(routeKey(100 + i), route);
  }
  Findings findings;
  verifyRoutes(*config, *lfib, "here", noPause, into(findings));
  EXPECT_EQ(findings, (Findings{{"merged", {}}, {"extra", {}}}));

  Via other;
  other.weightIs(2);
  input->route(routeKey(100))->viaIs(other, true);
  lfib->lfibRouteDel(routeKey(101));
  lfib->lfibRouteCommit(LfibRoute(routeKey(102), setKey(102), LFib::lfibSourceLdp_));
  config->routeDel(routeKey(103));
  verifyRoutes(*config, *lfib, "here", noPause, into(findings));
  std::ranges::sort(findings["merged"]);
  EXPECT_EQ(
      findings["merged"],
      (std::vector<std::string>{"label 100 metric 1: merged with 2 vias, in the LFIB with 1",
                                "label 101 metric 1: merged, but not in the LFIB",
                                "label 102 metric 1: another source has its place in the LFIB"}));
  EXPECT_EQ(findings["extra"],
            (std::vector<std::string>{"label 103 metric 1: in the LFIB, but not merged"}));
}

TEST(LabelVerifyTest, BlocksLieOnTheGridOfTheRangeAndApart) {
  LabelView view{true, DynamicRange(LabelRange(100000, 163840)), {}, {}};
  view.blocks[{"bgp", "a"}] = LabelBlock(MplsLabel(100000));
  view.blocks[{"ldp", "a"}] = LabelBlock(MplsLabel(116384));
  Findings findings;
  const auto verify = [&] {
    verifyLabels([&view] { return view; }, "here", noPause, into(findings));
  };
  verify();
  EXPECT_EQ(findings, (Findings{{"overlap", {}}, {"grid", {}}, {"range", {}}}));
  view.blocks[{"bgp", "b"}] = LabelBlock(MplsLabel(116385));
  view.blocks[{"ldp", "b"}] = LabelBlock(MplsLabel(262144));
  verify();
  const std::string range = "base 100000 size 163840, 10 blocks";
  EXPECT_EQ(findings["overlap"],
            (std::vector<std::string>{
                "block 116385-132768 of bgp b overlaps block 116384-132767 of ldp a"}));
  EXPECT_EQ(findings["grid"],
            (std::vector<std::string>{
                "block 116385-132768 of bgp b is not one of the dynamic range: " + range}));
  EXPECT_EQ(findings["range"],
            (std::vector<std::string>{
                "block 262144-278527 of ldp b lies outside of the dynamic range: " + range}));
}

TEST(LdpVerifyTest, BindingsAndRoutesBelongTogether) {
  using namespace Ldp::LdpTarn;
  const auto tables = ldpLabelBindingTableFactory("ldp");
  const auto lfib = lfibStatusFactory("lfib");
  const Ldp::LdpIdentifier peer(0x0a000002, 0);
  const auto fec = [](std::uint32_t number) {
    return FwdEqvClass(
        Netbase::IpGenPrefix(Forma::String8("10.0." + std::to_string(number) + ".0/24")));
  };
  const auto bind = [&](std::uint32_t number) {
    tables->localLbtCommit(LdpLocalLbt({fec(number), MplsLabel(number)}));
    tables->localLbtAdvertisedToCommit(LdpLocalLbtAdvertisedTo({fec(number), peer}));
    tables->peerLbtCommit(LdpPeerLbt({peer, fec(number), MplsLabel(200 + number)}));
    LfibMplsVia via(viaKey(number));
    via.labelStackIs(LabelStack(MplsLabel(200 + number)));
    lfib->mplsViaCommit(via);
    lfib->viaSetCommit(LfibViaSet(setKey(number), {viaKey(number)}));
    lfib->lfibRouteCommit(
        LfibRoute(routeKey(number), setKey(number), LFib::lfibSourceLdp_, fec(number)));
  };
  for (std::uint32_t number = 16; number < 24; ++number) bind(number);
  Findings findings;
  verifyLdp(*tables, *lfib, "here", noPause, into(findings));
  EXPECT_EQ(findings, (Findings{{"bindings", {}}, {"vias", {}}, {"routes", {}}}));

  tables->localLbtDel({fec(16), MplsLabel(16)});
  tables->localLbtDel({fec(17), MplsLabel(17)});
  tables->localLbtCommit(LdpLocalLbt({fec(99), MplsLabel(17)}));
  tables->peerLbtDel({peer, fec(18), MplsLabel(218)});
  lfib->lfibRouteDel(routeKey(19));
  verifyLdp(*tables, *lfib, "here", noPause, into(findings));
  EXPECT_EQ(findings["bindings"],
            (std::vector<std::string>{
                "label 16: in the LFIB, but bound to nothing",
                "label 17: in the LFIB for 10.0.17.0/24, to which it is not bound"}));
  EXPECT_EQ(findings["vias"],
            (std::vector<std::string>{
                "label 18: sent on with label 218, which no peer bound to 10.0.18.0/24"}));
  EXPECT_EQ(findings["routes"],
            (std::vector<std::string>{
                "label 19: bound to 10.0.19.0/24 and advertised, but not in the LFIB"}));
}

}  // namespace
