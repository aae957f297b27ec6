// Label ranges: bounds, the range that was never set, the ranges of a switch that configures none.
#include "mpls/types/LabelRange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mpls/types/LabelRangeInfo.h"

namespace {

using Forma::RangeException;
using Forma::String8;
using Mpls::LabelRange;
using ::testing::StrEq;
using ::testing::ThrowsMessage;

const auto baseRefused =
    ThrowsMessage<RangeException>(StrEq("LabelRange::base > Netbase::MplsLabel::max not allowed"));
const auto sizeRefused =
    ThrowsMessage<RangeException>(StrEq("LabelRange::size > Expr @Mpls:102 not allowed"));

TEST(LabelRangeTest, EndsAtTheLargestLabel) {
  EXPECT_EQ(LabelRange(1048575, 1).size(), 1U);
  EXPECT_EQ(LabelRange(1048575, 0).size(), 0U);
  EXPECT_EQ(LabelRange(0, 1048576).size(), 1048576U);
  EXPECT_THAT([] { LabelRange(1048575, 2); }, sizeRefused);
  EXPECT_THAT([] { LabelRange(1, 0xffffffff); }, sizeRefused);
  EXPECT_THAT([] { LabelRange(1048576, 0); }, baseRefused);
  EXPECT_THAT([] { LabelRange(1048576, 1); }, baseRefused);
  EXPECT_THAT([] { LabelRange(8388608, 0); }, baseRefused);
}

TEST(LabelRangeTest, SettersKeepTheValueThatTheyCannotChange) {
  LabelRange whole(0, 1048576);
  EXPECT_THAT([&] { whole.baseIs(1); }, sizeRefused);
  EXPECT_THAT([&] { whole.sizeIs(1048577); }, sizeRefused);
  EXPECT_THAT([&] { whole.baseIs(1048576); }, baseRefused);
  EXPECT_EQ(whole, LabelRange(0, 1048576));
  whole.sizeIs(10);
  whole.baseIs(1);
  EXPECT_EQ(whole, LabelRange(1, 10));
}

TEST(LabelRangeTest, TextIsCheckedBaseFirst) {
  LabelRange range(16, 1);
  const auto parse = [&](const char* text) { Mpls::strepToValue(String8(text), &range); };
  EXPECT_THAT([&] { parse("Value('Mpls::LabelRange', ** {'base': 1048575, 'size': 2})"); },
              sizeRefused);
  EXPECT_THAT([&] { parse("Value('Mpls::LabelRange', ** {'base': 1048576, 'size': 1048577})"); },
              baseRefused);
  EXPECT_EQ(range, LabelRange(16, 1));
}

TEST(LabelRangeTest, RangeThatWasNeverSetTravelsButIsNotAccepted) {
  LabelRange unset;
  EXPECT_EQ(unset.base(), Netbase::MplsLabel::none);
  EXPECT_EQ(unset.size(), 0U);
  const String8 text = Mpls::valueToStrep(unset);
  EXPECT_EQ(text, "Value('Mpls::LabelRange', ** {'base': 1048576, 'size': 0})");
  EXPECT_THAT([&] { Mpls::strepToValue(text, &unset); }, baseRefused);
  EXPECT_THAT([&] { unset.sizeIs(0); }, baseRefused);

  std::string wire;
  Forma::encode(wire, unset);
  LabelRange back(16, 1);
  Forma::BytesIn in(wire);
  Forma::decode(in, back);
  EXPECT_EQ(back, LabelRange());

  std::string damaged;
  Forma::encode(damaged, Netbase::MplsLabel(1048576));
  Forma::encode(damaged, std::uint32_t{1});
  Forma::BytesIn bad(damaged);
  EXPECT_THAT([&] { Forma::decode(bad, back); }, baseRefused);
  EXPECT_EQ(back, LabelRange());
}

TEST(LabelRangeInfoTest, DefaultRangesLeaveTheirGaps) {
  using Info = Mpls::LabelRangeInfo;
  const struct {
    LabelRange range;
    std::uint32_t first, last;
  } ranges[] = {{Info::staticDefaultRange, 16, 99999},
                {Info::dynamicDefaultRange, 100000, 362143},
                {Info::srgbDefaultRange, 900000, 965535},
                {Info::srlbDefaultRange, 965536, 1031071},
                {Info::l2evpnDefaultRange, 1036288, 1048575}};
  for (const auto& [range, first, last] : ranges) {
    EXPECT_EQ(range.base().value(), first);
    EXPECT_EQ(range.base().value() + range.size() - 1, last);
  }
  EXPECT_EQ(Info::rangeTypeSrgb, "isis-sr");
  EXPECT_EQ(Info::rangeTypeBgpSrgb, "bgp-sr");
  EXPECT_EQ(Info::rangeTypeDynamic, "dynamic");
}

}  // namespace
