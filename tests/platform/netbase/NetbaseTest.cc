/// The networking value types: bounds, text and wire forms, order; and the names they go by.
#include <cstring>
#include <type_traits>

#include "platform/netbase/EthAddr.h"
#include "platform/netbase/GenericIntfId.h"
#include "platform/netbase/MplsLabel.h"
#include "platform/netbase/MplsLabelAction.h"
#include "platform/netbase/NetU16.h"
#include "platform/netbase/NetU32.h"
#include "platform/netbase/Registration.h"
#include "platform/netbase/VlanId.h"
#include "platform/netbase/VrfName.h"
#include "tests/platform/netbase/Forms.h"

namespace Netbase {
namespace {

using L3::VrfName;

template <class T, std::size_t size>
constexpr bool flat = std::is_trivially_copyable_v<T> && sizeof(T) == size;

static_assert(flat<MplsLabel, 4> && flat<VlanId, 2> && flat<NetU32, 4> && flat<NetU16, 2>);
static_assert(flat<IpAddr, 4> && flat<Ip6Addr, 16> && flat<IpGenAddr, 17> && flat<EthAddr, 6>);
static_assert(flat<IpGenPrefix, 18> && std::has_unique_object_representations_v<IpGenPrefix>);
static_assert(flat<IntfId, 16> && flat<GenericIntfId, 16> && flat<VrfName, 101>);
static_assert(MplsLabel(3) < MplsLabel::max && NetU32(1) < NetU32(256));  // usable as constants

TEST(NumbersTest, LabelsAndVlanIdentifiersKeepTheirBounds) {
  expectForms(MplsLabel(), "1048576", {"\0\0\x10\0", 4});
  expectForms(MplsLabel(MplsLabel::max), "1048575", {"\xff\xff\x0f\0", 4});
  expectForms(MplsLabel(MplsLabel::luWithdraw), "8388608", {"\0\0\x80\0", 4});
  expectForms(VlanId(4094), "4094", "\xfe\x0f");
  const std::string badLabel =
      "MplsLabel::value < MplsLabel::min or > MplsLabel::luWithdraw not allowed";
  expectRangeError([] { MplsLabel().valueIs(MplsLabel::luWithdraw + 1); }, badLabel);
  for (const char* bad : {"8388609", "4294967296", "99999999999999999999"})
    expectRangeError([&] { parsed<MplsLabel>(bad); }, badLabel);
  expectRangeError([] { decoded<MplsLabel>({"\x01\0\x80\0", 4}); }, badLabel);
  const std::string badVlan = "VlanId::value > 4094 not allowed";
  expectRangeError([] { VlanId().valueIs(65536 + 7); }, badVlan);
  for (const char* bad : {"4095", "65543", "4294967296"})
    expectRangeError([&] { parsed<VlanId>(bad); }, badVlan);
  expectRangeError([] { decoded<VlanId>("\xff\x0f"); }, badVlan);
}

TEST(NumbersTest, WrappersKeepTheNumberInNetworkOrder) {
  expectForms(NetU32(0x0a000001), "167772161", {"\x0a\0\0\x01", 4});
  expectForms(NetU16(0x1234), "4660", "\x12\x34");
  NetU32 copy32;
  NetU16 copy16;
  copy32.netValueIs(NetU32(0x01020304).netValue());
  copy16.netValueIs(NetU16(0x0102).netValue());
  EXPECT_EQ(0, std::memcmp(&copy32, "\1\2\3\4", 4));
  EXPECT_EQ(0, std::memcmp(&copy16, "\1\2", 2));
}

TEST(NumbersTest, TextIsPlainDecimalAndOrderThatOfTheNumbers) {
  const auto bad = {"", "-1", "+1", " 1", "1 ", "x", "0x10", "1.0", "none", "4294967296"};
  for (const std::string_view text : bad) {
    expectRefused(MplsLabel(16), {text});
    expectRefused(VlanId(7), {text});
    expectRefused(NetU32(5), {text});
    expectRefused(NetU16(5), {text});
  }
  expectRefused(NetU16(5), {"65536"});
  expectOrder<MplsLabel>({0, 1, 255, 256, MplsLabel::max, MplsLabel(), MplsLabel::luWithdraw});
  expectOrder<VlanId>({0, 1, 256, 4094});
  expectOrder<NetU32>({0, 1, 255, 256, 0x01000000, 0xffffffff});
  expectOrder<NetU16>({0, 1, 255, 256, 65535});
}

TEST(EnumerationsTest, MembersHaveFixedNumbersAndNames) {
  expectForms(undefinedLabelAction(), "undefinedLabelAction", {"\0", 1});
  expectForms(push(), "push", "\1");
  expectForms(pop(), "pop", "\2");
  expectForms(swap(), "swap", "\3");
  expectForms(afUnknown(), "afUnknown", {"\0", 1});
  expectForms(ipv4(), "ipv4", "\1");
  expectForms(ipv6(), "ipv6", "\2");
  EXPECT_THROW(decoded<MplsLabelAction>("\4"), ParseException);
  EXPECT_THROW(decoded<AddressFamily>("\3"), ParseException);
}

TEST(EthAddrTest, ReadsBothCasesAndPrintsLowerCase) {
  const EthAddr addr("aB:Cd:EF:01:23:45");
  expectForms(addr, "ab:cd:ef:01:23:45", "\xab\xcd\xef\x01\x23\x45");
  EXPECT_EQ(addr.value(), 0xabcdef012345u);
  expectRefused(addr, {"", "ab:cd:ef:01:23", "ab:cd:ef:01:23:4", "ab:cd:ef:01:23:45:", "none",
                       "ab:cd:ef:01:23:456", "ab-cd-ef-01-23-45", "gb:cd:ef:01:23:45",
                       "abc:d:ef:01:23:45", " ab:cd:ef:01:23:45", "ab:cd:ef:01:23:45 "});
  expectRangeError([] { EthAddr bad("1:2:3:4:5:6"); }, "Invalid Ethernet address \"1:2:3:4:5:6\"");
  expectOrder<EthAddr>({EthAddr(), EthAddr("00:00:00:00:00:01"), EthAddr("00:00:00:00:01:00"),
                        EthAddr("7f:ff:ff:ff:ff:ff"), EthAddr("80:00:00:00:00:00")});
}

/// The bytes of a name are refused with that error by all who read one.
template <class T>
void expectBadName(std::string_view name, const std::string& error) {
  std::string wire;
  Forma::encode(wire, String8(name));
  expectRangeError([&] { T bad(name); }, error);
  expectRangeError([&] { parsed<T>(textOf(String8(name))); }, error);
  expectRangeError([&] { decoded<T>(wire); }, error);
}

TEST(IntfIdTest, HoldsTheNamesThatInterfacesMayHave) {
  expectForms(IntfId("fifteen.bytes.x"), "'fifteen.bytes.x'", {"\x0f\0\0\0fifteen.bytes.x", 19});
  expectForms(IntfId("a'b\\c"), "'a\\'b\\\\c'", {"\5\0\0\0a'b\\c", 9});
  expectForms(IntfId("\xc3\xa9..."), "'\xc3\xa9...'", {"\5\0\0\0\xc3\xa9...", 9});
  EXPECT_EQ(parsed<IntfId>("'\\x65th0'"), IntfId("eth0"));
  EXPECT_EQ(IntfId("et").size(), 2u);
  EXPECT_TRUE(IntfId("").empty());
  const std::pair<std::string_view, const char*> bad[] = {
      {"sixteen.bytes.xx", "> 15 bytes"},  {".", "\".\" or \"..\""},
      {"..", "\".\" or \"..\""},           {"Ethernet3/1", "with '/'"},
      {"eth 0", "with a blank"},           {"eth\t0", "with a control byte"},
      {"eth0\x7f", "with a control byte"}, {{"eth\0", 4}, "with a control byte"}};
  for (const auto& [name, what] : bad)
    expectBadName<IntfId>(name, "IntfId::name " + std::string(what) + " not allowed");
  expectRefused(IntfId("eth0"), {"", "eth0", "'eth0", "eth0'", "'eth0''", "'eth\\0'", "\"eth0\""});
  expectOrder<IntfId>({IntfId(), IntfId("Z"), IntfId("a"), IntfId("a0"), IntfId("aa"),
                       IntfId("aaaaaaaa"), IntfId("aaaaaaaab"), IntfId("b"), IntfId("\xc3\xa9")});
}

TEST(IntfIdTest, TypeFollowsFromTheName) {
  const std::pair<const char*, std::uint32_t> types[] = {
      {"Ethernet25", 1}, {"eth0", 1},          {"en5", 1},    {"Management1", 2},
      {"ma1", 2},        {"Loopback0", 3},     {"lo", 3},     {"Vlan100", 4},
      {"BE511.897", 5},  {"Port-Channel7", 5}, {"bond0", 5},  {"PortChannel0001", 5},
      {"Tunnel6", 6},    {"tun0", 6},          {"pw1000", 7}, {"tunnelTap0", 60},
      {"tunnelTap", 60}, {"BE.7", 5},          {"", 0},       {"ethernet1", 0},
      {"Ethernetx1", 0}, {"TunnelTap0", 0},    {"0eth", 0},   {"et1", 0}};
  for (const auto& [name, type] : types) {
    EXPECT_EQ(IntfId(name).typeId(), type) << name;
    EXPECT_EQ(GenericIntfId(IntfId(name)).typeId(), type) << name;
  }
  expectForms(GenericIntfId(IntfId("pw1")), "'pw1'", {"\3\0\0\0pw1", 7});
  expectOrder<GenericIntfId>({IntfId(), IntfId("pw1"), IntfId("pw10")});
}

TEST(VrfNameTest, HoldsUpToOneHundredBytesOfAnyKind) {
  const std::string most(100, 'v');
  expectForms(VrfName(most), "'" + most + "'", std::string("d\0\0\0", 4) + most);
  expectForms(VrfName(std::string_view("a\0'\n", 4)), "'a\\x00\\'\\x0a'", {"\4\0\0\0a\0'\n", 8});
  expectBadName<VrfName>(most + "v", "VrfName::bytes > 100 not allowed");
  expectRefused(VrfName("blue"), {"", "blue", "'blue", "'blue'x"});
  expectOrder<VrfName>({VrfName(), VrfName(std::string_view("\0", 1)), VrfName("a"),
                        VrfName(std::string_view("a\0", 2)), VrfName("aa"), VrfName("b"),
                        VrfName("\xff")});
}

TEST(RegistrationTest, EveryTypeIsKnownByItsFullName) {
  Forma::TypeRegistry registry;
  registerTypes(registry);
  for (const char* name :
       {"Netbase::AddressFamily", "Netbase::MplsLabelAction", "Netbase::MplsLabel",
        "Netbase::VlanId", "Netbase::NetU16", "Netbase::NetU32", "Netbase::IpAddr",
        "Netbase::Ip6Addr", "Netbase::IpGenAddr", "Netbase::IpGenPrefix", "Netbase::EthAddr",
        "Netbase::IntfId", "Netbase::GenericIntfId", "L3::VrfName"})
    EXPECT_NE(registry.findValue(name), nullptr) << name;
}

}  // namespace
}  // namespace Netbase
