// Label ranges: bounds, the range that was never set, the ranges of a switch that configures none.
#include "mpls/types/LabelRange.h"

#include "mpls/types/LabelRangeInfo.h"
#include "tests/support/Checks.h"

namespace {

using Checks::raised;
using Forma::String8;
using Mpls::LabelRange;

constexpr const char* baseRefused = "LabelRange::base > Netbase::MplsLabel::max not allowed";
constexpr const char* sizeRefused = "LabelRange::size > Expr @Mpls:102 not allowed";

String8 textOf(std::uint32_t base, std::uint32_t size) {
  return String8("Value('Mpls::LabelRange', ** {'base': " + std::to_string(base) +
                 ", 'size': " + std::to_string(size) + "})");
}

TEST(LabelRangeTest, EndsAtTheLargestLabelHoweverItIsMade) {
  const struct {
    std::uint32_t base, size;
    const char* raises;
  } cases[] = {{1048575, 1, "nothing"},   {1048575, 0, "nothing"},        {0, 1048576, "nothing"},
               {1048575, 2, sizeRefused}, {1, 0xffffffff, sizeRefused},   {1048576, 1, baseRefused},
               {8388608, 0, baseRefused}, {1048576, 1048577, baseRefused}};
  for (const auto& one : cases) {
    LabelRange set, read;
    EXPECT_EQ(raised([&] { set.baseIs(one.base), set.sizeIs(one.size); }), one.raises);
    EXPECT_EQ(raised([&] { strepToValue(textOf(one.base, one.size), &read); }), one.raises);
    EXPECT_EQ(raised([&] { EXPECT_EQ(LabelRange(one.base, one.size), set); }), one.raises);
  }
  LabelRange whole(0, 1048576);
  EXPECT_EQ(raised([&] { whole.baseIs(1); }), sizeRefused);
  EXPECT_EQ(whole, LabelRange(0, 1048576));
}

TEST(LabelRangeTest, RangeThatWasNeverSetIsNotAccepted) {
  LabelRange unset;
  EXPECT_EQ(valueToStrep(unset), textOf(1048576, 0));
  EXPECT_EQ(raised([] { LabelRange(1048576, 0); }), baseRefused);
  EXPECT_EQ(raised([&] { unset.sizeIs(0); }), baseRefused);
  EXPECT_EQ(raised([&] { strepToValue(textOf(1048576, 0), &unset); }), baseRefused);
}

TEST(LabelRangeInfoTest, DefaultRangesLeaveTheirGaps) {
  using Info = Mpls::LabelRangeInfo;
  EXPECT_EQ(Info::staticDefaultRange, LabelRange(16, 100000 - 16));
  EXPECT_EQ(Info::dynamicDefaultRange, LabelRange(100000, 1 << 18));
  EXPECT_EQ(Info::srgbDefaultRange, LabelRange(900000, 1 << 16));
  EXPECT_EQ(Info::srlbDefaultRange, LabelRange(900000 + (1 << 16), 1 << 16));
  EXPECT_EQ(Info::l2evpnDefaultRange, LabelRange((1 << 20) - 12288, 12288));
}

}  // namespace
