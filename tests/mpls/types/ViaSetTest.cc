// Vias and the sets of them.
#include "mpls/types/ViaSet.h"

#include "tests/support/Checks.h"

namespace {

using Forma::ParseException;
using Forma::String8;
using Mpls::Via;
using Mpls::ViaSet;

Via via(std::uint32_t address) { return {Netbase::IpAddr(address), Netbase::push_, 100, false}; }

/// A via of each field's own, in the order that the fields give them.
TEST(ViaTest, EveryFieldCountsInDeclarationOrder) {
  std::vector<Via> ascending(10, via(7));
  ascending[1].weightIs(2);
  ascending[2].ttlModeIs(Mpls::pipe_);
  ascending[3].skipEgressAclIs(true);
  ascending[4].payloadTypeIs(Mpls::ipv4_);
  ascending[5].intfIs(Netbase::IntfId("eth0"));
  ascending[6].outLabelIs(101);
  ascending[7].labelActionIs(Netbase::swap_);
  ascending[8].nexthopGroupIs("g");
  ascending[9].nextHopIs(Netbase::IpGenAddr("::"));
  Checks::expectAscending(ascending);
}

TEST(ViaSetTest, ContentsDecideEqualityOrderAndHash) {
  ViaSet a, b;
  a.newVia(via(1), 1), a.viaIs(via(2), 2);
  b.newVia(via(2), 2), b.newVia(via(3), 3), b.newVia(via(1), 1), b.viaDel(via(3));
  EXPECT_TRUE(a == b && a.hash() == b.hash());
  b.viaIs(via(1), 7);
  EXPECT_TRUE(a < b && a.hash() != b.hash() && ViaSet() < a);
  EXPECT_TRUE(b.via(via(1)) == 7 && *b.viaFind(via(2)) == 2 && b.vias() == 2);
  b.viaDelAll();
  EXPECT_TRUE(b == ViaSet() && b.via(via(1)) == 0 && !b.viaFind(via(2)));
}

TEST(ViaSetTest, TextAndWireNameEachViaOnce) {
  const std::string one(Mpls::valueToStrep(via(1)).view()), two(Mpls::valueToStrep(via(2)).view());
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

  std::string wire;
  Forma::encode(wire, set);
  const std::string count = wire.substr(0, 4), first = wire.substr(4, (wire.size() - 4) / 2);
  for (const std::string& bad : {"\xff\xff\xff\xff" + wire.substr(4), count + first + first}) {
    Forma::BytesIn in(bad);
    EXPECT_THROW(Forma::decode(in, set), ParseException);
  }
  EXPECT_EQ(set, before);
}

}  // namespace
