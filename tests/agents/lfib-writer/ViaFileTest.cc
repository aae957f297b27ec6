// The file of vias: what it says, and what is told of one that is wrong.
#include "agents/lfib-writer/ViaFile.h"

#include <gtest/gtest.h>

namespace LfibWriterAgent {
namespace {

TEST(ViaFileTest, EachPartIsRead) {
  const ViaFile file = viaFileFromText(R"({
    "ipLookup": [{"label": 1000, "vrf": "red", "family": "ipv4"}, {"label": 16, "family": "ipv6"}],
    "pseudowire": [{"interface": "pw1", "type": "ethernetTagged", "controlWord": true,
                    "labels": [2000, 2001]}],
    "tagMap": {"source": "bgpL2Evpn", "index": 7, "vlans": {"1": 4094, "4094": 1}}})");
  EXPECT_TRUE(file.errors.empty());
  using Mpls::RouteKey;
  EXPECT_EQ(file.ipLookups.at(RouteKey(1000, 0)),
            Mpls::LfibIpLookupVia({}, L3::VrfName("red"), Netbase::ipv4_));
  EXPECT_EQ(file.ipLookups.at(RouteKey(16, 0)),
            Mpls::LfibIpLookupVia({}, L3::VrfName(), Netbase::ipv6_));
  EXPECT_EQ(file.pseudowires.at(RouteKey(2001, 0)),
            Mpls::LfibPwVia({}, Netbase::IntfId("pw1"), true, Mpls::pwTypeEthernetTagged_));
  EXPECT_EQ(file.pseudowires.size(), 2U);
  EXPECT_EQ(file.tagMaps.at({Mpls::LFib::lfibSourceBgpL2Evpn_, 7}),
            (ViaFile::Tags{{1, 4094}, {4094, 1}}));
  const ViaFile empty = viaFileFromText("{}");
  EXPECT_TRUE(empty.errors.empty() && empty.ipLookups.empty() && empty.tagMaps.empty());
}

/// The text of a document, and all that is said of it.
TEST(ViaFileTest, ErrorsNameThePlaceAndWhatIsExpected) {
  const std::string lookup = R"({"ipLookup": [{"label": 16, "family": "ipv4")";
  const std::string wire = R"({"pseudowire": [{"interface": "pw1", "type": "ethernet")";
  const std::string map = R"({"tagMap": {"source": "ldp", "index": 1)";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"[]", "f: expected an object, found an array"},
      {R"({"vlan": []})", R"(f: /vlan: expected ipLookup, pseudowire or tagMap, found "vlan")"},
      {lookup + "}", "f:1:"},
      {lookup + R"(, "vrf": ")" + std::string(101, 'v') + "\"}]}",
       "f: /ipLookup/0/vrf: expected a VRF name of at most 100 bytes, found \"vvv"},
      {lookup + R"(, "family": "ipv6"}]})",
       "f: /ipLookup/0/family: expected it once, found it twice"},
      {R"({"ipLookup": [{"label": 15}, {"label": 1048576}, {"label": "16"}, {"family": "ipv5"}]})",
       "f: /ipLookup/0/label: expected a label from 16 to 1048575, found \"15\"\n"
       "f: /ipLookup/1/label: expected a label from 16 to 1048575, found \"1048576\"\n"
       "f: /ipLookup/2/label: expected a label from 16 to 1048575, found \"16\"\n"
       "f: /ipLookup/3/family: expected ipv4 or ipv6, found \"ipv5\"\n"},
      {lookup + "}, {}]}", "f: /ipLookup/1: expected a member label, found none\n"},
      {R"({"ipLookup": [{"label": 16}]})",
       "f: /ipLookup/0: expected a member family (ipv4 or ipv6), found none\n"},
      {wire + R"(, "labels": [16, 16]}]})",
       "f: /pseudowire/0/labels/1: expected each label once, found 16 again\n"},
      {wire + R"(, "controlWord": 1}]})", "f: /pseudowire/0/controlWord: expected a boolean"},
      {R"({"pseudowire": [{"interface": "interface-16byte", "type": "atm"}]})",
       "f: /pseudowire/0/interface: expected an interface name of 1 to 15 bytes, found "},
      {wire.substr(0, wire.find(",")) + "}]}",
       "f: /pseudowire/0: expected a member type (ethernet or ethernetTagged), found none\n"},
      {map + R"(, "vlans": {"4095": 1}}})",
       "f: /tagMap/vlans/4095: expected a tag from 1 to 4094, found \"4095\"\n"},
      {map + R"(, "vlans": {"1": 0}}})",
       "f: /tagMap/vlans/1: expected a VLAN from 1 to 4094, found \"0\"\n"},
      {R"({"tagMap": {"source": "max"}})",
       "f: /tagMap/source: expected a source of LFIB rows, such as bgpL2Evpn, found \"max\"\n"},
  };
  for (const auto& [text, due] : cases) {
    std::string said;
    for (const auto& one : viaFileFromText(text).errors) said += lineOf("f", one) + "\n";
    EXPECT_EQ(said.substr(0, due.size()), due) << text;
    EXPECT_TRUE(due.back() != '\n' || said == due) << text << "\n" << said;
  }
}

}  // namespace
}  // namespace LfibWriterAgent
