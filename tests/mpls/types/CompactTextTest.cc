// The types that operators type: FECs and router identifiers.
#include <gmock/gmock.h>

#include "mpls/types/FwdEqvClass.h"
#include "mpls/types/RouterId.h"
#include "tests/support/Checks.h"

namespace {

using Checks::parsed;
using Checks::raised;
using Mpls::FwdEqvClass;
using Mpls::RouterId;
using ::testing::StartsWith;

TEST(FwdEqvClassTest, IsItsPrefixAndRefusesOtherTextInOneWay) {
  for (const char* text : {"10.0.0.0/8", "0.0.0.0/0", "2001:db8::/32", "none"}) {
    const auto fec = parsed<FwdEqvClass>(text);
    EXPECT_EQ(fec.stringValue(), text);
    EXPECT_EQ(fec.prefix(), Netbase::IpGenPrefix(text));
    EXPECT_EQ(fec.hash(), fec.prefix().hash());
  }
  EXPECT_EQ(FwdEqvClass().stringValue(), "none");
  Checks::expectAscending(parsed<FwdEqvClass>({"9.0.0.0/8", "10.0.0.0/8", "10.0.0.0/9"}));

  auto fec = parsed<FwdEqvClass>("10.0.0.0/8");
  for (const char* text : {"", "10.0.0.0", "10.0.0.0/8x", "10.0.0.0/8 ", "10.0.0.0/33",
                           "10.0.0.1/8", "10.0.0.0/8, x", "10.0.0.0/8})", "'10.0.0.0/8'", "x"})
    EXPECT_EQ(raised([&] { fec.stringValueIs(text); }), "Invalid FwdEqvClass") << text;
  EXPECT_EQ(fec.stringValue(), "10.0.0.0/8");
}

TEST(RouterIdTest, TextDecidesTheProtocol) {
  const struct {
    const char* text;
    RouterId id;
  } cases[] = {{"10.1.2.3:0", RouterId(Mpls::ldp_, 0x0a010203, 0)},
               {"10.1.2.3:65535", RouterId(Mpls::ldp_, 0x0a010203, 65535)},
               {"10.1.2.3", RouterId(Mpls::mplste_, 0x0a010203, 0)},
               {"0102.0304.0506", RouterId(Mpls::isis_, {1, 2, 3, 4, 5, 6})},
               {"abcd.ef00.ffff", RouterId(Mpls::isis_, 0xabcdef00, 0xffff)}};
  for (const auto& one : cases) {
    EXPECT_EQ(parsed<RouterId>(one.text), one.id) << one.text;
    EXPECT_EQ(one.id.stringValue(), one.text);
  }
  EXPECT_EQ(parsed<RouterId>("ABCD.EF00.FFFF").lblSpaceValue(), 0xffff);
  EXPECT_EQ(RouterId(Mpls::rsvp_, 0x0a010203, 7).stringValue(), "10.1.2.3");
  Checks::expectAscending<RouterId>({{Mpls::unknown_, 9, 9},
                                     {Mpls::ldp_, 0x100, 0x100},
                                     {Mpls::ldp_, 0x01000000, 2},
                                     {Mpls::ldp_, 0x01000000, 10}});
}

TEST(RouterIdTest, BadTextKeepsTheWordsOfTheParserThatKnowsIt) {
  RouterId id(Mpls::ldp_, 1, 2);
  const auto refuses = [&](const char* message, std::initializer_list<const char*> texts) {
    for (const char* text : texts)
      EXPECT_THAT(raised([&] { id.stringValueIs(text); }), StartsWith(message)) << text;
  };
  refuses("Invalid Mpls::RouterId",
          {"", "10.1.2", "10.1", "1.2.3.4.5", "0102.0304.050", "0102.0304.05060", "102.00304.0506",
           "0102.0304.050g", "0102.0304.+506", "0102.0304:0506", "10.1.2.3:0x", "10.1.2.3:0.",
           "10.1.2.3, x", "0102.0304.0506 "});
  refuses("Invalid LdpIdentifier", {"10.1.2.3:", "10.1.2.3:65536", "10.1.2.3:x"});
  refuses("Invalid IP address", {"300.1.1.1", "300.1.1.1:0", "10.1.2.x", "...", "1:2.3.4.5"});
  EXPECT_EQ(id, RouterId(Mpls::ldp_, 1, 2));
}

TEST(RouterIdDeathTest, SystemIdsBelongToIsis) {
  EXPECT_DEATH(RouterId(Mpls::ldp_, {1, 2, 3, 4, 5, 6}),
               "assertion failed\\(protocol == isis_\\):.*"
               "Only ISIS system IDs are handled by this constructor");
}

}  // namespace
