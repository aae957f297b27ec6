// The rows of the LFIB tables as values: fields, text forms, bounds, constructors. That every value
// of theirs survives text and wire is shown by tests/mpls/types/RegistryRoundTripTest.cc.
#include <gtest/gtest.h>

#include <map>

#include "mpls/lfib/LfibStatus.h"
#include "mpls/lfib/Registration.h"
#include "tests/support/Checks.h"

namespace Mpls {
namespace {

using Checks::raised;
using Tarn::RowForm;

LfibViaKey via(LfibViaType type, std::uint32_t index = 3) {
  return {LFib::lfibSourceLdp_, type, index};
}
const LfibViaSetKey setKey(LFib::lfibSourceLdp_, 4, viaTypeMplsIp_);

TEST(LfibRowsTest, FieldsStandInTheirOrder) {
  const std::string source = "source Source, ", via = "key LfibViaKey, ", flag = ", flag LfibFlag";
  const std::string vlan = via + "vlanId VlanId" + flag;
  const std::string map = "dot1qTagToVlanKey LfibDot1qTagToVlanKey";
  const std::map<std::string, std::string> expected = {
      {"LfibViaKey", source + "viaType LfibViaType, index U32"},
      {"LfibViaSetKey", source + "index U32, viaType LfibViaType"},
      {"LfibDot1qTagToVlanKey", source + "index U32"},
      {"LfibDot1qTagToVlanCompositeKey", map + ", dot1qTag VlanId"},
      {"LfibRoute", "key RouteKey, viaSetKey LfibViaSetKey, " + source + "fec FwdEqvClass"},
      {"LfibViaSet", "key LfibViaSetKey, viaKey LfibViaKey[LfibViaIndexRange]"},
      {"LfibMplsVia",
       via + "nextHop IpGenAddr, labelAction MplsLabelAction, labelStack LabelStack, intf IntfId, "
             "payloadType PayloadType, skipEgressAcl bool, ttlMode TtlMode, weight U32"},
      {"LfibPwVia", via + "pwIntfId IntfId, controlWordPresent bool, pwType PwType"},
      {"LfibIpLookupVia",
       via + "addressFamily AddressFamily, vrfNameBuffer U8[LfibVrfNameIndexRange]"},
      {"LfibVlanVia", vlan},
      {"LfibEvpnVlanAwareVia", via + map + flag},
      {"LfibEvpnEthernetSegmentFilterVia", via + "intfId IntfId"},
      {"LfibEvpnVlanFloodVia", vlan},
      {"LfibEvpnVlanAwareFloodVia", via + map + flag},
      {"LfibDot1qTagToVlanComposite", "key LfibDot1qTagToVlanCompositeKey, localVlan VlanId"},
      {"RouteInfo", "key RouteKey, status LfibHwProgrammingReturnCode"}};
  Forma::TypeRegistry registry;
  registerLfibTypes(registry);
  for (const auto& [name, fields] : expected) {
    std::string found;
    for (const auto& field : registry.value("Mpls::" + name).fields)
      found.append(", ")
          .append(field.name)
          .append(" ")
          .append(field.type.substr(field.type.rfind(':') + 1));
    EXPECT_EQ(found, ", " + fields) << name;
  }
}

TEST(LfibRowsTest, TextsReadBack) {
  const auto expectText = []<class T>(const T& v, const std::string& text) {
    EXPECT_EQ(valueToStrep(v), "Value('Mpls::" + text);
    T back;
    strepToValue(valueToStrep(v), &back);
    EXPECT_EQ(back, v);
  };
  const std::string key =
      "LfibViaKey', ** {'source': lfibSourceLdp, 'viaType': viaTypeIpLookup, "
      "'index': 3})";
  const std::string set =
      "LfibViaSet', ** {'key': Value('Mpls::LfibViaSetKey', ** {'source': "
      "lfibSourceLdp, 'index': 4, 'viaType': viaTypeMplsIp}), 'viaKey': [";
  const LfibViaKey viaKey = via(viaTypeIpLookup_);
  expectText(LfibViaSet(setKey, {viaKey, viaKey}),
             set + "Value('Mpls::" + key + ", Value('Mpls::" + key + "]})");
  expectText(LfibIpLookupVia(viaKey, L3::VrfName("it's"), Netbase::ipv6_),
             "LfibIpLookupVia', ** {'key': Value('Mpls::" + key +
                 ", 'addressFamily': ipv6, 'vrfNameBuffer': 'it\\'s'})");
  const LfibMplsVia row(viaKey, Netbase::IpGenAddr("10.0.0.1"), Netbase::push_, {16, 17}, true);
  expectText(row, "LfibMplsVia', ** {'key': Value('Mpls::" + key +
                      ", 'nextHop': 10.0.0.1, 'labelAction': push, 'labelStack': [16, 17], 'intf': "
                      "'', 'payloadType': undefinedPayload, 'skipEgressAcl': true, 'ttlMode': "
                      "undefinedTtlMode, 'weight': 1})");
  EXPECT_EQ(LfibMplsVia(valueToStrep(row)), row);
  EXPECT_THROW(LfibMplsVia(Forma::String8("via")), Forma::ParseException);
  EXPECT_TRUE(LfibMplsVia(viaKey).key() == viaKey && LfibMplsVia(viaKey).weight() == 1);
}

TEST(LfibRowsTest, ViaSetsHaveRoomFor128Keys) {
  const char* const outside =
      "LfibViaIndexRange::value < LfibViaIndexRange::min or > LfibViaIndexRange::max not allowed";
  LfibViaSet row(setKey);
  for (std::uint32_t i = 0; i < 128; ++i) row.viaKeyIs(i, via(viaTypeMplsIp_, i));
  EXPECT_TRUE(row.viaKeys() == 128 && row.viaKey(127).index() == 127);
  EXPECT_EQ(RowForm<LfibViaSet>::size(row), 12U + 2 + 128 * 12);
  EXPECT_EQ(raised([&] { row.viaKeyIs(128, via(viaTypeMplsIp_)); }), outside);
  EXPECT_EQ(raised([&] { row.viaKey(128); }), outside);
  const std::vector many(129, via(viaTypeMplsIp_));
  EXPECT_EQ(raised([&] { row.viaKeyIs(many); }), outside);
  EXPECT_EQ(row.viaKey(127).index(), 127U) << "nothing was assigned";
}

TEST(LfibRowsTest, VrfNamesHaveAtMost100Bytes) {
  const std::string name(100, 'v');
  LfibIpLookupVia row(via(viaTypeIpLookup_), L3::VrfName(name), Netbase::ipv4_);
  EXPECT_EQ(row.vrfName().name(), name);
  row.vrfNameIs("red");
  EXPECT_EQ(row.vrfName(), L3::VrfName("red"));
  EXPECT_EQ(RowForm<LfibIpLookupVia>::size(row), 15U + 3);
  row.vrfNameBufferTextIs(name + 'v');  // the buffer's last place
  EXPECT_EQ(raised([&] { row.vrfName(); }), "VrfName::bytes > 100 not allowed");
  EXPECT_EQ(raised([&] { row.vrfNameBufferIs(101, 'v'); }),
            "LfibVrfNameIndexRange::value < LfibVrfNameIndexRange::min or > "
            "LfibVrfNameIndexRange::max not allowed");
}

TEST(LfibRowsDeathTest, LongerVrfNamesEndTheProcess) {
  LfibIpLookupVia row;
  EXPECT_DEATH(row.vrfNameIs(std::string(101, 'v')),
               "LfibRows.cc:[0-9]+ void Mpls::LfibIpLookupVia::vrfNameIs\\(.*\\) -- assertion "
               "failed\\(name.size\\(\\) <= L3::VrfName::maxLength\\(\\)\\): ");
}

}  // namespace
}  // namespace Mpls
