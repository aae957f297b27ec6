// LDP identifiers: text, order, public hash.
#include "ldp/LdpIdentifier.h"

#include <gmock/gmock.h>

#include "tests/support/Checks.h"

namespace Ldp {
namespace {

using Checks::parsed;
using Checks::raised;

TEST(LdpIdentifierTest, TextAndIdentifierAreTheSameThing) {
  const struct {
    const char* text;
    LdpIdentifier id;
  } cases[] = {{"0.0.0.0:0", LdpIdentifier::ldpIdZero},
               {"0.0.0.0:1", LdpIdentifier::allLdpNeighborIdentifier},
               {"10.1.2.3:0", LdpIdentifier(0x0a010203)},
               {"1.2.3.4:65535", LdpIdentifier(0x01020304, 65535)},
               {"255.255.255.255:10", LdpIdentifier(0xffffffff, 10)}};
  for (const auto& one : cases) {
    EXPECT_EQ(parsed<LdpIdentifier>(one.text), one.id);
    EXPECT_EQ(one.id.stringValue(), one.text);
    EXPECT_EQ(valueToStrep(one.id), one.text) << "unquoted";
  }
  EXPECT_EQ(parsed<LdpIdentifier>("1.1.1.1:00007").lblSpace(), 7);
  EXPECT_EQ(parsed<LdpIdentifier>("10.1.2.3:7").lsrIdNbo().value(), 0x0a010203U);
}

TEST(LdpIdentifierTest, BadTextIsRefusedAndNothingAssigned) {
  LdpIdentifier id(1, 2);
  for (const char* text :
       {"", ":", "1.2.3.4", "1.2.3.4:", "1.2.3.4:-1", "1.2.3.4: 1", "1.2.3.4:x", "1.2.3.4:+1",
        "1.2.3.4:65536", "1.2.3.4:4294967296", "1.2.3.4:18446744073709551617", "1.2.3.4:7abc",
        "1.1.1.1:0 ", "1.1.1.1:0x", "300.1.1.1:x", "300.1.1.1:65536"})
    EXPECT_EQ(raised([&] { id.stringValueIs(text); }), "Invalid LdpIdentifier") << text;
  for (const char* text : {":0", "300.1.1.1:0", "1.2.3:0", "1.2.3.4 :0", " 1.2.3.4:0"})
    EXPECT_THAT(raised([&] { id.stringValueIs(text); }), testing::StartsWith("Invalid IP address"));
  EXPECT_EQ(id, LdpIdentifier(1, 2));
}

TEST(LdpIdentifierTest, ParserStopsBehindTheLabelSpace) {
  const Forma::String8 text = "1.2.3.4:7abc";
  LdpIdentifier id;
  auto at = text.begin();
  sequenceToValue(at, text.end(), &id);
  EXPECT_EQ(id, LdpIdentifier(0x01020304, 7));
  EXPECT_EQ(std::string(at, text.end()), "abc");
}

TEST(LdpIdentifierTest, OrderIsThatOfTheNumbersAndThePublicHashFollowsItsFormula) {
  Checks::expectAscending(
      parsed<LdpIdentifier>({"0.0.0.0:0", "1.0.0.0:65535", "9.0.0.1:5", "10.0.0.1:0", "10.0.0.1:2",
                             "10.0.0.1:10", "255.255.255.255:0"}));
  // The numbers come from a calculation outside of this program.
  EXPECT_EQ(LdpIdentifier().hash(), 0xcaa3caa3U);
  EXPECT_EQ(LdpIdentifier(0x0a010203, 1).hash(), 0x922a55acU);
}

}  // namespace
}  // namespace Ldp
