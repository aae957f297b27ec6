// LDP identifiers: text, order, public hash.
#include "ldp/LdpIdentifier.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

using Forma::RangeException;
using Forma::String8;
using Ldp::LdpIdentifier;
using ::testing::StartsWith;
using ::testing::StrEq;
using ::testing::ThrowsMessage;

LdpIdentifier parsed(const String8& text) {
  LdpIdentifier id;
  id.stringValueIs(text);
  return id;
}

TEST(LdpIdentifierTest, TextAndIdentifierAreTheSameThing) {
  const struct {
    const char* text;
    LdpIdentifier id;
  } cases[] = {{"0.0.0.0:0", LdpIdentifier()},
               {"0.0.0.0:1", LdpIdentifier::allLdpNeighborIdentifier},
               {"10.1.2.3:0", LdpIdentifier(0x0a010203)},
               {"1.2.3.4:65535", LdpIdentifier(0x01020304, 65535)},
               {"255.255.255.255:10", LdpIdentifier(0xffffffff, 10)}};
  for (const auto& one : cases) {
    EXPECT_EQ(parsed(one.text), one.id);
    EXPECT_EQ(one.id.stringValue(), one.text);
    EXPECT_EQ(Ldp::valueToStrep(one.id), one.text);
    std::ostringstream out;
    out << one.id;
    EXPECT_EQ(out.str(), one.text);
  }
  EXPECT_EQ(LdpIdentifier::ldpIdZero, LdpIdentifier());
  EXPECT_EQ(parsed("1.1.1.1:00007").lblSpace(), 7);
  EXPECT_EQ(parsed("10.1.2.3:7").lsrIdNbo().value(), 0x0a010203U);
}

TEST(LdpIdentifierTest, BadTextIsRefusedAndNothingAssigned) {
  LdpIdentifier id(1, 2);
  for (const char* text :
       {"", ":", "1.2.3.4", "1.2.3.4:", "1.2.3.4:-1", "1.2.3.4: 1", "1.2.3.4:x", "1.2.3.4:+1",
        "1.2.3.4:65536", "1.2.3.4:4294967296", "1.2.3.4:18446744073709551617", "1.2.3.4:7abc",
        "1.1.1.1:0 ", "1.1.1.1:0x", "300.1.1.1:x", "300.1.1.1:65536"})
    EXPECT_THAT([&] { id.stringValueIs(text); },
                ThrowsMessage<RangeException>(StrEq("Invalid LdpIdentifier")))
        << text;
  for (const char* text : {":0", "300.1.1.1:0", "1.2.3:0", "1.2.3.4 :0", " 1.2.3.4:0"})
    EXPECT_THAT([&] { id.stringValueIs(text); },
                ThrowsMessage<RangeException>(StartsWith("Invalid IP address")))
        << text;
  EXPECT_EQ(id, LdpIdentifier(1, 2));
}

TEST(LdpIdentifierTest, ParserStopsBehindTheLabelSpace) {
  const String8 text = "1.2.3.4:7abc";
  LdpIdentifier id;
  auto at = text.begin();
  Ldp::sequenceToValue(at, text.end(), &id);
  EXPECT_EQ(id, LdpIdentifier(0x01020304, 7));
  EXPECT_EQ(std::string(at, text.end()), "abc");
}

TEST(LdpIdentifierTest, OrderIsThatOfTheNumbers) {
  const char* const ascending[] = {"0.0.0.0:0",  "1.0.0.0:65535", "9.0.0.1:5",        "10.0.0.1:0",
                                   "10.0.0.1:2", "10.0.0.1:10",   "255.255.255.255:0"};
  for (std::size_t i = 0; i < std::size(ascending); ++i)
    for (std::size_t j = 0; j < std::size(ascending); ++j) {
      EXPECT_EQ(parsed(ascending[i]) < parsed(ascending[j]), i < j);
      EXPECT_EQ(parsed(ascending[i]) >= parsed(ascending[j]), i >= j);
    }
}

TEST(LdpIdentifierTest, PublicHashFollowsItsFormula) {
  // The numbers come from a calculation outside of this program.
  EXPECT_EQ(LdpIdentifier().hash(), 0xcaa3caa3U);
  EXPECT_EQ(parsed("10.1.2.3:0").hash(), 0x922a55abU);
  EXPECT_EQ(parsed("10.1.2.3:1").hash() - parsed("10.1.2.3:0").hash(), 1U);
}

TEST(LdpIdentifierTest, StandsUnquotedWhereverItStands) {
  Forma::TextIn in("10.1.2.3:4, 'next': 1");
  LdpIdentifier id;
  Forma::parse(in, id);
  EXPECT_EQ(id, LdpIdentifier(0x0a010203, 4));
  EXPECT_EQ(in.rest(), ", 'next': 1");
}

}  // namespace
