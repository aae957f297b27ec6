/// The networking value types: bounds, text and wire forms, order; and the names they go by.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/netbase/EthAddr.h"
#include "platform/netbase/GenericIntfId.h"
#include "platform/netbase/IpGenPrefix.h"
#include "platform/netbase/MplsLabel.h"
#include "platform/netbase/MplsLabelAction.h"
#include "platform/netbase/NetU16.h"
#include "platform/netbase/NetU32.h"
#include "platform/netbase/Registration.h"
#include "platform/netbase/VlanId.h"
#include "platform/netbase/VrfName.h"

namespace {

using namespace Netbase;
using Forma::ParseException;
using Forma::RangeException;
using Forma::String8;
using L3::VrfName;
using testing::StrEq;
using testing::ThrowsMessage;

template <class T>
std::string wireOf(const T& v) {
  std::string out;
  Forma::encode(out, v);
  return out;
}

template <class T>
T parsed(std::string_view text) {
  T v{};
  Forma::strepToValue(String8(text), &v);
  return v;
}

template <class T>
T decoded(std::string_view bytes) {
  T v{};
  Forma::BytesIn in(bytes);
  Forma::decode(in, v);
  if (!in.atEnd()) in.fail("the end");
  return v;
}

/// The value prints as `text`, and comes back from its text, alone and as a field of a record, and
/// from its wire form; a cut wire form is refused and assigns nothing.
template <class T>
void expectForms(const T& v, std::string_view text, std::string_view wire) {
  SCOPED_TRACE(std::string(Forma::typeName<T>()) + " " + std::string(text));
  EXPECT_EQ(Forma::valueToStrep(v).view(), text);
  EXPECT_EQ(parsed<T>(text), v);
  EXPECT_EQ(Forma::hashOf(parsed<T>(text)), Forma::hashOf(v));

  for (const std::string_view behind : {", 'x': 1})", "})"}) {
    const std::string record = std::string(text) + std::string(behind);
    Forma::TextIn in(record);
    T field{};
    Forma::parse(in, field);
    EXPECT_EQ(field, v);
    EXPECT_EQ(in.rest(), behind);
  }

  EXPECT_EQ(wireOf(v), wire);
  EXPECT_EQ(decoded<T>(wire), v);
  for (std::size_t size = 0; size < wire.size(); ++size) {
    T kept = v;
    Forma::BytesIn in(wire.substr(0, size));
    EXPECT_THROW(Forma::decode(in, kept), ParseException);
    EXPECT_EQ(kept, v);
  }
}

/// Each text is refused, and the value that was to be assigned keeps `before`.
template <class T>
void expectRefused(const T& before, std::initializer_list<std::string_view> texts) {
  for (const std::string_view text : texts) {
    T v = before;
    EXPECT_THROW(Forma::strepToValue(String8(text), &v), Forma::Exception) << text;
    EXPECT_EQ(v, before) << text;
    if constexpr (requires { T::fromText(text); }) {
      EXPECT_FALSE(T::fromText(text)) << text;
    }
  }
}

/// The values stand in ascending order: every comparison of every two agrees with their places.
template <class T>
void expectOrder(const std::vector<T>& values) {
  SCOPED_TRACE(Forma::typeName<T>());
  for (std::size_t a = 0; a < values.size(); ++a)
    for (std::size_t b = 0; b < values.size(); ++b) {
      EXPECT_EQ(values[a] <=> values[b], a <=> b) << values[a] << ' ' << values[b];
      EXPECT_EQ(values[a] == values[b], a == b) << values[a] << ' ' << values[b];
      EXPECT_EQ(values[a].hash() == values[b].hash(), a == b) << values[a] << ' ' << values[b];
    }
}

template <class Call>
void expectRangeError(Call call, const std::string& message) {
  EXPECT_THAT(call, ThrowsMessage<RangeException>(StrEq(message)));
}

template <class T, std::size_t size>
constexpr bool flat = std::is_trivially_copyable_v<T> && sizeof(T) == size;

static_assert(flat<MplsLabel, 4> && flat<VlanId, 2> && flat<NetU32, 4> && flat<NetU16, 2>);
static_assert(flat<IpAddr, 4> && flat<Ip6Addr, 16> && flat<IpGenAddr, 17> && flat<EthAddr, 6>);
static_assert(flat<IpGenPrefix, 18> && std::has_unique_object_representations_v<IpGenPrefix>);
static_assert(flat<IntfId, 16> && flat<GenericIntfId, 16> && flat<VrfName, 101>);
static_assert(MplsLabel(3) < MplsLabel::max && NetU32(1) < NetU32(256));  // usable as constants

TEST(NumbersTest, LabelsReachUpToTheWithdrawalLabel) {
  const std::string error =
      "MplsLabel::value < MplsLabel::min or > MplsLabel::luWithdraw not allowed";
  EXPECT_EQ(MplsLabel().value(), 1048576u);
  expectForms(MplsLabel(), "1048576", {"\0\0\x10\0", 4});
  expectForms(MplsLabel(MplsLabel::min), "0", {"\0\0\0\0", 4});
  expectForms(MplsLabel(MplsLabel::max), "1048575", {"\xff\xff\x0f\0", 4});
  expectForms(MplsLabel(MplsLabel::luWithdraw), "8388608", {"\0\0\x80\0", 4});

  MplsLabel label(16);
  expectRangeError([&] { MplsLabel bad(MplsLabel::luWithdraw + 1); }, error);
  expectRangeError([&] { label.valueIs(0xffffffff); }, error);
  for (const char* text : {"8388609", "4294967295", "4294967296", "99999999999999999999"})
    expectRangeError([&] { Forma::strepToValue(text, &label); }, error);
  expectRangeError([&] { label = decoded<MplsLabel>({"\x01\0\x80\0", 4}); }, error);
  expectRefused(label, {"", "-1", "+1", " 1", "1 ", "x", "0x10", "1.0"});
  EXPECT_EQ(label, 16u);
  label.valueIs(17);
  EXPECT_EQ(label, MplsLabel(17));
  expectOrder<MplsLabel>({0, 1, 255, 256, MplsLabel::max, MplsLabel(), MplsLabel::luWithdraw});
}

TEST(NumbersTest, VlanIdentifiersReachUpTo4094) {
  const std::string error = "VlanId::value > 4094 not allowed";
  expectForms(VlanId(), "0", {"\0\0", 2});
  expectForms(VlanId(4094), "4094", "\xfe\x0f");
  VlanId vlan(7);
  for (const std::uint32_t value : {4095u, 65535u, 65536u + 7})
    expectRangeError([&] { vlan.valueIs(value); }, error);
  for (const char* text : {"4095", "65543", "4294967296"})
    expectRangeError([&] { Forma::strepToValue(text, &vlan); }, error);
  expectRangeError([&] { vlan = decoded<VlanId>("\xff\x0f"); }, error);
  expectRefused(vlan, {"", "-1", "none", "7,"});
  EXPECT_EQ(vlan.value(), 7);
  expectOrder<VlanId>({0, 1, 256, 4094});
}

TEST(NumbersTest, WrappersKeepTheNumberInNetworkOrder) {
  expectForms(NetU32(), "0", {"\0\0\0\0", 4});
  expectForms(NetU32(0x0a000001), "167772161", {"\x0a\0\0\x01", 4});
  expectForms(NetU16(0x1234), "4660", "\x12\x34");
  const std::uint32_t raw32 = NetU32(0x01020304).netValue();
  const std::uint16_t raw16 = NetU16(0x0102).netValue();
  EXPECT_EQ(0, std::memcmp(&raw32, "\1\2\3\4", 4));
  EXPECT_EQ(0, std::memcmp(&raw16, "\1\2", 2));
  NetU32 copy32;
  NetU16 copy16;
  copy32.netValueIs(raw32);
  copy16.netValueIs(raw16);
  EXPECT_EQ(copy32.value(), 0x01020304u);
  EXPECT_EQ(copy16.value(), 0x0102u);
  copy32.valueIs(5);
  EXPECT_EQ(copy32, NetU32(5));
  expectRefused(copy32, {"", "-1", "4294967296", "1x"});
  expectRefused(copy16, {"", "65536", "0.0"});
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
  expectForms(EthAddr(), "00:00:00:00:00:00", std::string(6, '\0'));
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

TEST(IntfIdTest, HoldsTheNamesThatInterfacesMayHave) {
  expectForms(IntfId(), "''", std::string(4, '\0'));
  expectForms(IntfId("Ethernet25"), "'Ethernet25'", {"\x0a\0\0\0Ethernet25", 14});
  expectForms(IntfId("fifteen.bytes.x"), "'fifteen.bytes.x'", {"\x0f\0\0\0fifteen.bytes.x", 19});
  expectForms(IntfId("a'b\\c"), "'a\\'b\\\\c'", {"\5\0\0\0a'b\\c", 9});
  expectForms(IntfId("\xc3\xa9..."), "'\xc3\xa9...'", {"\5\0\0\0\xc3\xa9...", 9});
  EXPECT_EQ(parsed<IntfId>("'\\x65th0'"), IntfId("eth0"));
  EXPECT_EQ(IntfId(String8("BE511.897")).stringValue(), "BE511.897");
  EXPECT_EQ(IntfId("et").size(), 2u);
  EXPECT_TRUE(IntfId("").empty());

  IntfId kept("eth0");
  const std::pair<std::string_view, const char*> bad[] = {
      {"sixteen.bytes.xx", "IntfId::name > 15 bytes not allowed"},
      {".", "IntfId::name \".\" or \"..\" not allowed"},
      {"..", "IntfId::name \".\" or \"..\" not allowed"},
      {"Ethernet3/1", "IntfId::name with '/' not allowed"},
      {"eth 0", "IntfId::name with a blank not allowed"},
      {"eth\t0", "IntfId::name with a control byte not allowed"},
      {"eth0\x7f", "IntfId::name with a control byte not allowed"},
      {{"eth\0", 4}, "IntfId::name with a control byte not allowed"}};
  for (const auto& [name, error] : bad) {
    expectRangeError([&, n = name] { kept = IntfId(n); }, error);
    expectRangeError([&, n = name] { kept = parsed<IntfId>(Forma::valueToStrep(String8(n))); },
                     error);
    expectRangeError([&, n = name] { kept = decoded<IntfId>(wireOf(String8(n))); }, error);
  }
  expectRefused(kept, {"", "eth0", "'eth0", "eth0'", "'eth0''", "'eth\\0'", "\"eth0\""});
  EXPECT_THROW(decoded<IntfId>("\xff\xff\xff\xff"), ParseException);
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
  EXPECT_EQ(IntfId("tunnelTap0").typeId(), GenericIntfId::tunnelTapTypeId);
  expectForms(GenericIntfId(IntfId("pw1")), "'pw1'", {"\3\0\0\0pw1", 7});
  expectOrder<GenericIntfId>({IntfId(), IntfId("pw1"), IntfId("pw10")});
}

TEST(VrfNameTest, HoldsUpToOneHundredBytesOfAnyKind) {
  const std::string most(100, 'v');
  expectForms(VrfName(), "''", std::string(4, '\0'));
  expectForms(VrfName("red"), "'red'", {"\3\0\0\0red", 7});
  expectForms(VrfName(most), "'" + most + "'", std::string("d\0\0\0", 4) + most);
  expectForms(VrfName(std::string_view("a\0'\n", 4)), "'a\\x00\\'\\x0a'", {"\4\0\0\0a\0'\n", 8});
  EXPECT_EQ(VrfName(String8("red")).stringValue(), "red");
  EXPECT_EQ(VrfName(most).size(), VrfName::maxLength());

  VrfName kept("blue");
  const String8 tooLong(most + "v");
  const std::string error = "VrfName::bytes > 100 not allowed";
  expectRangeError([&] { kept = VrfName(tooLong); }, error);
  expectRangeError([&] { Forma::strepToValue(Forma::valueToStrep(tooLong), &kept); }, error);
  expectRangeError([&] { kept = decoded<VrfName>(wireOf(tooLong)); }, error);
  expectRefused(kept, {"", "blue", "'blue", "'blue'x"});
  expectOrder<VrfName>({VrfName(), VrfName(std::string_view("\0", 1)), VrfName("a"),
                        VrfName(std::string_view("a\0", 2)), VrfName("aa"), VrfName("b"),
                        VrfName("\xff")});
}

TEST(RegistrationTest, EveryTypeIsKnownByItsFullName) {
  Forma::TypeRegistry registry;
  registerTypes(registry);
  registerTypes(registry);
  const std::pair<const char*, const char*> defaults[] = {
      {"Netbase::AddressFamily", "afUnknown"},
      {"Netbase::MplsLabelAction", "undefinedLabelAction"},
      {"Netbase::MplsLabel", "1048576"},
      {"Netbase::VlanId", "0"},
      {"Netbase::NetU16", "0"},
      {"Netbase::NetU32", "0"},
      {"Netbase::IpAddr", "0.0.0.0"},
      {"Netbase::Ip6Addr", "::"},
      {"Netbase::IpGenAddr", "none"},
      {"Netbase::IpGenPrefix", "none"},
      {"Netbase::EthAddr", "00:00:00:00:00:00"},
      {"Netbase::IntfId", "''"},
      {"Netbase::GenericIntfId", "''"},
      {"L3::VrfName", "''"}};
  for (const auto& [name, text] : defaults) EXPECT_EQ(registry.newValue(name).text(), text) << name;
}

}  // namespace
