#include "mpls/types/LabelStack.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/Checks.h"

namespace Mpls {
namespace {

TEST(LabelStackTest, HoldsUpToSixteenRealLabelsInOrder) {
  Checks::expectAscending<LabelStack>({{}, 0, {0, 0}, 255, {255, 7}, 256, {65536, 0}, 1048575});
  const LabelStack stack{16, 24001};
  EXPECT_TRUE(stack.size() == 2 && stack.label(0) == 16 && stack.label(1) == 24001);
  EXPECT_EQ(stack.label(2).value(), Netbase::MplsLabel::none);
  EXPECT_TRUE(LabelStack(Netbase::MplsLabel()).empty()) << "a label that was never set";
  EXPECT_EQ((LabelStack{16, Netbase::MplsLabel::none, 24001}), stack);
  const std::vector<Netbase::MplsLabel> many(17, 16);
  EXPECT_EQ(LabelStack(std::span(many).first(16)).size(), 16U);
  EXPECT_EQ(Checks::raised([&] { LabelStack{std::span(many)}.size(); }),
            "LabelStack::labels > 16 not allowed");
  for (const std::uint32_t label : {1048577U, Netbase::MplsLabel::luWithdraw})
    EXPECT_EQ(Checks::raised([&] { LabelStack{label}.size(); }),
              "LabelStack::label > Netbase::MplsLabel::max not allowed");
  for (const auto& [place, damage] : {std::pair(0, 17), {1, 0x10}}) {
    LabelStack damaged = stack;
    std::memset(reinterpret_cast<char*>(&damaged) + place, damage, 1);
    EXPECT_FALSE(damaged.formaFlatOk()) << "seventeen labels; a label of 21 bits";
  }
  EXPECT_TRUE(stack.formaFlatOk());
}

}  // namespace
}  // namespace Mpls
