// Vias and the sets of them.
#include "mpls/types/ViaSet.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

using Forma::ParseException;
using Forma::String8;
using Mpls::Via;
using Mpls::ViaSet;

Via via(std::uint32_t address, std::uint32_t weight = 1) {
  Via v(Netbase::IpAddr(address), Netbase::push_, 100, false);
  v.weightIs(weight);
  return v;
}

TEST(ViaTest, DefaultsAndOrder) {
  EXPECT_EQ(Via().weight(), 1U);
  EXPECT_EQ(Via().outLabel(), Netbase::MplsLabel::none);
  EXPECT_EQ(via(1), Via(Netbase::IpAddr(1), "", Netbase::push_, 100, Netbase::IntfId(),
                        Mpls::undefinedPayload_, false, Mpls::undefinedTtlMode_, 1));
  EXPECT_NE(via(1, 1), via(1, 2));
  EXPECT_LT(via(1, 2), via(2, 1));
  EXPECT_LT(via(1, 9), via(1, 10));
}

/// Vias of each field's own, in the order that the fields give them.
TEST(ViaTest, EveryFieldCountsInDeclarationOrder) {
  std::vector<Via> descending(9, via(7));
  descending[0].nextHopIs(Netbase::IpGenAddr("::"));
  descending[1].nexthopGroupIs("g");
  descending[2].labelActionIs(Netbase::swap_);
  descending[3].outLabelIs(101);
  descending[4].intfIs(Netbase::IntfId("eth0"));
  descending[5].payloadTypeIs(Mpls::ipv4_);
  descending[6].skipEgressAclIs(true);
  descending[7].ttlModeIs(Mpls::pipe_);
  descending[8].weightIs(2);
  descending.push_back(via(7));
  for (std::size_t i = 0; i < descending.size(); ++i)
    for (std::size_t j = 0; j < descending.size(); ++j) {
      EXPECT_EQ(descending[i] > descending[j], i < j) << i << " " << j;
      EXPECT_EQ(descending[i].hash() == descending[j].hash(), i == j) << i << " " << j;
    }
}

TEST(ViaSetTest, AgreesWithAModel) {
  std::mt19937 engine(1);
  const auto random = [&engine] { return static_cast<std::uint32_t>(engine()); };
  ViaSet set;
  std::map<Via, std::int32_t> model;
  for (int step = 0; step < 5000; ++step) {
    const Via v = via(random() % 40, 1 + random() % 2);
    const auto value = static_cast<std::int32_t>(random());
    switch (random() % 4) {
      case 0:
        set.viaIs(v, value), model[v] = value;
        break;
      case 1:
        set.newVia(v, value), model[v] = value;
        break;
      case 2:
        set.viaDel(v), model.erase(v);
        break;
      default:
        if (random() % 200 == 0) set.viaDelAll(), model.clear();
    }
    ASSERT_EQ(set.viaFind(v) != nullptr, model.contains(v));
    ASSERT_EQ(set.via(v), model.contains(v) ? model[v] : 0);
    ASSERT_EQ(set.vias(), model.size());
    auto expected = model.begin();
    for (const auto& [key, number] : set.viaIteratorConst()) {
      ASSERT_EQ(key, expected->first);
      ASSERT_EQ(number, (expected++)->second);
    }
    ASSERT_EQ(expected, model.end());
  }
}

TEST(ViaSetTest, ContentsDecideEqualityOrderAndHash) {
  ViaSet a, b;
  a.newVia(via(1), 1), a.newVia(via(2), 2);
  b.newVia(via(2), 2), b.newVia(via(3), 3), b.newVia(via(1), 1), b.viaDel(via(3));
  EXPECT_EQ(a, b);
  EXPECT_EQ(a.hash(), b.hash());
  b.viaIs(via(1), 7);
  EXPECT_NE(a, b);
  EXPECT_LT(a, b);
  EXPECT_LT(ViaSet(), a);
  const ViaSet copy = b;
  b.viaDelAll();
  EXPECT_EQ(copy.vias(), 2U);
  EXPECT_EQ(b, ViaSet());
}

TEST(ViaSetTest, MayChangeWhileItIsWalked) {
  ViaSet set;
  for (std::uint32_t i = 0; i < 50; ++i) set.newVia(via(i), 0);
  std::uint32_t walked = 0;
  for (const auto& [key, value] : set.viaIteratorConst()) {
    EXPECT_EQ(key, via(walked * 2));
    set.viaDel(key);
    set.viaDel(via(++walked * 2 - 1));
  }
  EXPECT_EQ(walked, 25U);
  EXPECT_EQ(set.vias(), 0U);
}

TEST(ViaSetTest, TextNamesEachViaOnce) {
  const std::string one = Mpls::valueToStrep(via(1)).view().data(), two(Mpls::valueToStrep(via(2)));
  const auto text = [](const std::string& vias) {
    return String8("Value('Mpls::ViaSet', ** {'via': {" + vias + "}})");
  };
  ViaSet set;
  EXPECT_EQ(Mpls::valueToStrep(set), text(""));
  Mpls::strepToValue(text(two + ": -5, " + one + ": 1"), &set);  // any order is read
  EXPECT_EQ(Mpls::valueToStrep(set), text(one + ": 1, " + two + ": -5"));
  const ViaSet before = set;
  for (const std::string& bad : {one + ": 1, " + one + ": 1", one + ": 1, ", ", " + one + ": 1",
                                 one, one + ": 1 " + two + ": 2", one + ": 2147483648"})
    EXPECT_THROW(Mpls::strepToValue(text(bad), &set), ParseException) << bad;
  EXPECT_EQ(set, before);
}

TEST(ViaSetTest, WireIsBoundedByItsBytes) {
  ViaSet set;
  set.newVia(via(1), -1), set.newVia(via(2), 2);
  std::string wire;
  Forma::encode(wire, set);
  std::string twice = wire.substr(0, 4 + (wire.size() - 4) / 2);
  twice += twice.substr(4);
  for (const std::string& bad : {std::string("\xff\xff\xff\xff", 4) + wire.substr(4), twice}) {
    Forma::BytesIn in(bad);
    EXPECT_THROW(Forma::decode(in, set), ParseException);
  }
  EXPECT_EQ(set.vias(), 2U);
}

}  // namespace
