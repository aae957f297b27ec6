// Segment-routing tables: labels of segments, texts of rows, and the tables in another process's
// eyes. That every row survives text and wire is shown by RegistryRoundTripTest.
#include <map>

#include "mpls/tables/SegmentRoutingStatus.h"
#include "tests/platform/tarn/Folder.h"
#include "tests/support/Checks.h"

namespace Tarn::SegmentRouting {
namespace {

using Checks::raised;
using Mpls::LabelRange;

const Mpls::RouterId router(Mpls::mplste_, 0xc0000201U, 0);

TEST(GlobalBlockTest, TurnsSegmentsIntoLabels) {
  const GlobalBlock block(router, LabelRange(16000, 8000));
  const std::map<std::pair<std::uint32_t, bool>, std::uint32_t> expected = {
      {{0, false}, 16000},          {{7999, false}, 23999},
      {{8000, false}, 1048576},     {{UINT32_MAX, false}, 1048576},
      {{8000, true}, 8000},         {{1048575, true}, 1048575},
      {{1048576, true}, 0},         {{1048592, true}, 16},
      {{UINT32_MAX, true}, 1048575}};
  for (const auto& [sid, label] : expected)
    EXPECT_EQ(block.mplsLabel({sid.first, sid.second}), label) << sid.first << sid.second;
  EXPECT_EQ(GlobalBlock(router, {1048575, 1}).mplsLabel({0, false}), 1048575U);
  EXPECT_EQ(GlobalBlock(router).mplsLabel({0, false}), 1048576U) << "no block";

  // A row that damage or another's fault has put into a table: no check has seen it.
  std::array<std::byte, Forma::flatBytes<GlobalBlock>> bytes;
  Forma::storeFlat(bytes.data(), block);
  const std::array<std::uint32_t, 2> range = {8388608, UINT32_MAX};
  std::memcpy(bytes.data() + bytes.size() - sizeof range, range.data(), sizeof range);
  GlobalBlock damaged;
  ASSERT_TRUE(Forma::loadFlat(bytes.data(), damaged));
  EXPECT_EQ(damaged.mplsLabel({0, false}), 8388608U);
  for (const std::uint32_t index : {1U, 4294967294U})
    EXPECT_EQ(raised([&] {
                damaged.mplsLabel({index, false});
              }),
              "MplsLabel::value < MplsLabel::min or > MplsLabel::luWithdraw not allowed");
}

TEST(PfxSegmentFlagsTest, AreSixBits) {
  for (std::uint32_t raw = 0; raw <= 0x3f; ++raw) EXPECT_EQ(PfxSegmentFlags(raw).value(), raw);
  PfxSegmentFlags flags(0x3f);
  EXPECT_EQ(raised([&] { flags.valueIs(0x40); }), "PfxSegmentFlags::value > 0x3f not allowed");
  EXPECT_EQ(flags.value(), 0x3f);
  flags.valueIs(0x12);
  EXPECT_EQ(valueToStrep(flags),
            "Value('Tarn::SegmentRouting::PfxSegmentFlags', ** {'explicitNull': false, 'noPhp': "
            "true, 'node': false, 'proxy': false, 'reAdvert': true, 'isLocal': false})");
}

TEST(PrefixSegmentTest, TextShowsTheFlagsOneByOneAndReadsThemInOrder) {
  PrefixSegment row(Netbase::IpGenPrefix("192.0.2.1/32"));
  row.sidIs({7, false});
  row.rtridIs(router);
  row.flagsIs(PfxSegmentFlags(0x26));  // noPhp, node, isLocal
  row.levelIs(2);
  const std::string head =
      "Value('Tarn::SegmentRouting::PrefixSegment', ** {'key': 192.0.2.1/32, 'sid': "
      "Value('Mpls::SegmentRouting::SegmentIdentifier', ** {'index': 7, 'isValue': false}), "
      "'rtrid': 192.0.2.1, ";
  const std::string tail =
      ", 'flags': Value('Tarn::SegmentRouting::PfxSegmentFlags', ** "
      "{'explicitNull': false, 'noPhp': true, 'node': true, 'proxy': false, "
      "'reAdvert': false, 'isLocal': true}), 'level': 2})";
  const std::string shown =
      "'noPhp': true, 'explicitNull': false, 'node': true, 'proxy': false, 'readvert': false, "
      "'local': true";
  EXPECT_EQ(valueToStrep(row), head + shown + tail);
  const std::string others =
      "'noPhp': false, 'explicitNull': true, 'node': false, 'proxy': true, 'readvert': true, "
      "'local': false";
  for (const std::string& flags : {shown, others}) {
    PrefixSegment back;
    strepToValue(Forma::String8(head + flags + tail), &back);
    EXPECT_EQ(back, row) << "what comes later stands";
  }
  PrefixSegment kept = row;
  for (const std::string& text : {head + "'noPhp': 1" + shown.substr(13) + tail, head + tail,
                                  head + shown + ", 'level': 2})"}) {
    EXPECT_THROW(strepToValue(Forma::String8(text), &kept), Forma::ParseException) << text;
    EXPECT_EQ(kept, row);
  }
}

TEST(FibRouteTest, HasRoomFor32Vias) {
  const Fib::Via via(Netbase::IpGenAddr("fe80::1"), Netbase::IntfId("eth0"), {16001, 17});
  const std::vector<Fib::Via> many(33, via);
  const Netbase::Prefix key("192.0.2.0/24");
  EXPECT_EQ(raised([&] { Fib::Route(key, 110, 20, many); }),
            "ViaIndexRange::value < ViaIndexRange::min or > ViaIndexRange::max not allowed");
  const Fib::Route route(key, 110, 20, std::span(many).first(32));
  EXPECT_TRUE(route.vias() == 32 && route.via(31) == via && route.key() == key);
  EXPECT_EQ(RowForm<Fib::Route>::size(route), 12U + 32 * 86);
  EXPECT_EQ(RowForm<Fib6::Route>::size(Fib6::Route(Netbase::Ip6Prefix("::/0"))), 24U);
}

struct Spy : Status::NotifieeConst {
  using NotifieeConst::onGlobalBlock, NotifieeConst::onPrefixSegment, NotifieeConst::onV4Route,
      NotifieeConst::onV6Route;
  void onV4Route(const Netbase::Prefix& key) override { hear(key); }
  void onV6Route(const Netbase::Ip6Prefix& key) override { hear(key); }
  void onPrefixSegment(const Netbase::IpGenPrefix& key) override { hear(key); }
  void onGlobalBlock(const Mpls::RouterId& key) override { hear(key); }
  void onGlobalBlock() override { heard["all"]++; }
  void hear(const auto& key) { heard[std::string(Forma::valueToStrep(key).view())]++; }
  std::map<std::string, int> heard;
};

TEST(SegmentRoutingStatusTest, WritersShareFourTablesAndLetGoOfThem) {
  for (const auto kind :
       {TarnTable::Mode::memory, TarnTable::Mode::writer, TarnTable::Mode::reader})
    EXPECT_EQ(TableInfo::srStatusInfo(kind), (std::array<TableInfo, 4>{{{"v4Route", 5120},
                                                                        {"v6Route", 5120},
                                                                        {"prefixSegment", 2048},
                                                                        {"globalBlock", 1024}}}));
  const Folder folder;
  Kiln::EventLoop loop;
  WriterDirectory directory(loop, {folder / "sr", "", "", 0755, "test"}, nullptr);
  const auto writer = statusFactory("sr");
  writer->attachWriter(directory);
  // Two tables are as large as each other, the others each smaller than the one before.
  const auto bytes = [&folder](const std::string& table) {
    std::uintmax_t sum = 0;
    for (const auto& file : fs::directory_iterator(folder / "sr"))
      if (file.path().filename().string().starts_with(table)) sum += file.file_size();
    return sum;
  };
  EXPECT_EQ(bytes("v4Route."), bytes("v6Route."));
  EXPECT_GT(bytes("v6Route."), bytes("prefixSegment."));
  EXPECT_GT(bytes("prefixSegment."), bytes("globalBlock."));
  ReaderDirectory readers(loop, folder / "sr", nullptr);
  const auto reader = statusFactory("copy");
  FormaTarn::attachReader(*reader, readers);
  Spy spy;
  spy.notifierIs(reader);
  writer->newV4Route(Fib::Route(Netbase::Prefix("10.0.0.0/8")));
  writer->v6RouteIs(Fib6::Route(Netbase::Ip6Prefix("2001:db8::/32")));
  writer->prefixSegmentCommit(PrefixSegment(Netbase::IpGenPrefix("192.0.2.1/32")));
  writer->newGlobalBlock(GlobalBlock(router, {16000, 8000}));
  ASSERT_TRUE(loop.runUntil([&] { return spy.heard.size() == 4; }, 30));
  EXPECT_EQ(spy.heard,
            (std::map<std::string, int>{
                {"10.0.0.0/8", 1}, {"2001:db8::/32", 1}, {"192.0.2.1", 1}, {"192.0.2.1/32", 1}}));
  EXPECT_EQ(reader->globalBlock(router).mplsLabel({5, false}), 16005U);
  reader->globalBlockNotifyCollection();
  EXPECT_EQ(spy.heard["all"], 1);

  writer->detachAndCleanup();
  EXPECT_EQ(writer->v4Routes() + writer->v6Routes() + writer->prefixSegments(), 0U);
  writer->newGlobalBlock(GlobalBlock(router));  // in memory: nobody else sees it
  writer->detachAndCleanup();
  EXPECT_EQ(writer->globalBlocks(), 0U);
  EXPECT_EQ(reader->globalBlocks(), 1U) << "rows stay in the directory";
  reader->detachAndCleanup();
  EXPECT_EQ(reader->globalBlocks(), 0U);
  EXPECT_EQ(spy.heard["192.0.2.1"], 2) << "who observes hears that the rows went";
  writer->attachWriter(directory);
  EXPECT_EQ(writer->globalBlock(router).labelRange(), LabelRange(16000, 8000));
}

}  // namespace
}  // namespace Tarn::SegmentRouting
