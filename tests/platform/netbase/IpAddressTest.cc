/// IP addresses and prefixes, checked against the C library's inet_pton and inet_ntop.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "platform/netbase/IpGenPrefix.h"

namespace {

using namespace Netbase;
using Forma::ParseException;
using Forma::RangeException;
using Forma::String8;
using testing::StrEq;
using testing::ThrowsMessage;
using Random = std::mt19937;

template <class T>
std::string textOf(const T& v) {
  std::string out;
  Forma::print(out, v);
  return out;
}

template <class T>
T decoded(std::string_view bytes) {
  T v{};
  Forma::BytesIn in(bytes);
  Forma::decode(in, v);
  if (!in.atEnd()) in.fail("the end");
  return v;
}

/// The wire form is `wire` when that is given; the value survives it, and nothing shorter does.
template <class T>
void expectWire(const T& v, std::string_view wire = {}) {
  std::string out;
  Forma::encode(out, v);
  if (!wire.empty()) {
    EXPECT_EQ(out, wire) << v;
  }
  EXPECT_EQ(decoded<T>(out), v);
  EXPECT_THROW(decoded<T>(std::string_view(out).substr(0, out.size() - 1)), ParseException) << v;
}

std::uint32_t next(Random& random) { return static_cast<std::uint32_t>(random()); }

/// An address whose groups are often zero, so that runs of zeros of all lengths come up.
Ip6Addr randomV6(Random& random) {
  Ip6Addr::Bytes bytes{};
  for (std::size_t i = 0; i < 16; i += 2) {
    const unsigned group = next(random) % 3 == 0 ? next(random) & 0xffffu >> next(random) % 16 : 0;
    bytes[i] = static_cast<std::uint8_t>(group >> 8);
    bytes[i + 1] = static_cast<std::uint8_t>(group);
  }
  if (next(random) % 8 == 0) {  // IPv4-mapped
    std::fill_n(bytes.begin(), 10, std::uint8_t{0});
    bytes[10] = bytes[11] = 0xff;
  }
  return Ip6Addr(bytes);
}

/// One to three characters changed, removed or put in.
std::string mutated(std::string text, Random& random) {
  constexpr std::string_view characters = "0123456789abcdefABCDEF::::....g/% ";
  for (unsigned steps = 1 + next(random) % 3; steps > 0; --steps) {
    const std::size_t at = next(random) % (text.size() + 1);
    const char c = characters[next(random) % characters.size()];
    if (next(random) % 3 == 0) text.insert(at, 1, c);
    else if (at < text.size() && next(random) % 2 == 0) text[at] = c;
    else text.erase(at, next(random) % 5);
  }
  return text;
}

/// What inet_pton makes of a text, or nothing.
std::optional<IpAddr> libraryV4(const std::string& text) {
  IpAddr::Bytes bytes;
  if (inet_pton(AF_INET, text.c_str(), bytes.data()) != 1) return std::nullopt;
  return IpAddr(bytes);
}
std::optional<Ip6Addr> libraryV6(const std::string& text) {
  Ip6Addr::Bytes bytes;
  if (inet_pton(AF_INET6, text.c_str(), bytes.data()) != 1) return std::nullopt;
  return Ip6Addr(bytes);
}

/// All readers of a text agree with what the library made of it, the one for either family too.
template <class T>
void expectRead(const std::string& text, const std::optional<T>& library) {
  EXPECT_EQ(T::fromText(text), library) << text;
  T v{};
  IpGenAddr general;
  if (library) {
    Forma::strepToValue(String8(text), &v);
    Forma::strepToValue(String8(text), &general);
    EXPECT_EQ(v, *library) << text;
    EXPECT_EQ(general, IpGenAddr(*library)) << text;
  } else {
    EXPECT_THROW(Forma::strepToValue(String8(text), &v), Forma::Exception) << text;
    EXPECT_EQ(v, T()) << text;
  }
}

TEST(IpAddressTest, AgreesWithTheLibraryOnIpv4) {
  Random random(20);
  unsigned accepted = 0;
  for (int i = 0; i < 20000; ++i) {
    const IpAddr addr(next(random) & (next(random) % 4 ? ~0u : 0x0a0000ffu));
    char text[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, addr.bytes().data(), text, sizeof text);
    ASSERT_EQ(textOf(addr), text);
    ASSERT_EQ(textOf(IpGenAddr(addr)), text);
    expectRead<IpAddr>(text, addr);
    const std::string other = mutated(text, random);
    const auto library = libraryV4(other);
    accepted += library.has_value();
    expectRead(other, library);
    if (HasFailure()) FAIL() << "at step " << i;
  }
  EXPECT_GT(accepted, 1000u);  // the mutations reach both sides
}

TEST(IpAddressTest, AgreesWithTheLibraryOnIpv6) {
  Random random(6);
  unsigned accepted = 0;
  for (int i = 0; i < 60000; ++i) {
    const Ip6Addr addr = randomV6(random);
    char text[INET6_ADDRSTRLEN];
    inet_ntop(AF_INET6, addr.bytes().data(), text, sizeof text);
    // The library embeds IPv4 behind 96 zero bits too, where we print groups.
    const bool embedded = std::string_view(text).find('.') != std::string_view::npos;
    if (!embedded || addr.bytes()[10] == 0xff) {
      ASSERT_EQ(textOf(addr), text);
    }
    ASSERT_EQ(textOf(IpGenAddr(addr)), textOf(addr));
    expectRead<Ip6Addr>(textOf(addr), addr);
    const std::string other = mutated(next(random) % 4 ? text : "1:2:3:4:5:6:7.8.9.10", random);
    const auto library = libraryV6(other);
    accepted += library.has_value();
    expectRead(other, library);
    if (HasFailure()) FAIL() << "at step " << i;
  }
  EXPECT_GT(accepted, 5000u);
}

TEST(IpAddressTest, PrintsTheCanonicalText) {
  const std::pair<const char*, const char*> texts[] = {
      {"0:0:0:0:0:0:0:0", "::"},
      {"2001:DB8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},
      {"2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},
      {"1:0:0:2:0:0:0:3", "1:0:0:2::3"},
      {"0001:0020:0300:4000:5:6:0:0", "1:20:300:4000:5:6::"},
      {"::1.2.3.4", "::102:304"},
      {"::ffff:1.2.3.4", "::ffff:1.2.3.4"},
      {"0:0:0:0:0:FFFF:0:0", "::ffff:0.0.0.0"},
      {"64:ff9b::192.0.2.33", "64:ff9b::c000:221"},
      {"1::2:3:4:5:6:7", "1:0:2:3:4:5:6:7"},
      {"ffff:ffff:ffff:ffff:ffff:ffff:255.255.255.255", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"}};
  for (const auto& [given, printed] : texts) EXPECT_EQ(IpGenAddr(given).stringValue(), printed);
  EXPECT_EQ(IpGenAddr("none"), IpGenAddr());
  EXPECT_EQ(textOf(IpGenAddr()), "none");
}

TEST(IpAddressTest, BadTextIsNamedAndNothingAssigned) {
  const std::pair<const char*, const char*> errors[] = {
      {"10.0.0.01", "Invalid IP address \"10.0.0.01\""},
      {"10.0.0.256, 'x'", "Invalid IP address \"10.0.0.256\""},
      {"1::2::3 via", "Invalid IP address \"1::2::3\""},
      {"hello, world", "Invalid IP address \"hello\""},
      {"", "Invalid IP address \"\""}};
  for (const auto& [text, error] : errors) {
    IpGenAddr v("10.0.0.1");
    Forma::TextIn in(text);
    EXPECT_THAT([&] { Forma::parse(in, v); }, ThrowsMessage<RangeException>(StrEq(error)));
    EXPECT_EQ(v, IpGenAddr("10.0.0.1"));
    EXPECT_EQ(in.rest(), text);
  }
  EXPECT_THAT([] { IpGenAddr("10.0.0.1 "); },
              ThrowsMessage<RangeException>(StrEq("Invalid IP address \"10.0.0.1 \"")));
  EXPECT_THAT([] { IpAddr(std::string(100, '1')); },
              ThrowsMessage<RangeException>(
                  StrEq("Invalid IP address \"" + std::string(60, '1') + "...\"")));
  IpGenAddr kept("::1");
  EXPECT_THROW(kept.stringValueIs("nonexistent"), RangeException);
  EXPECT_EQ(kept.stringValue(), "::1");
}

TEST(IpAddressTest, ReadsTheAddressAndStopsBehindIt) {
  for (const char* address : {"192.0.2.1", "2001:db8::", "::ffff:1.2.3.4", "none"})
    for (const char* behind : {"", " via", ", 'x'", "})", "/24", "%eth0"}) {
      const std::string text = std::string(address) + behind;
      const char* at = text.data();
      IpGenAddr v;
      Netbase::sequenceToValue(at, text.data() + text.size(), &v);
      EXPECT_EQ(textOf(v), address);
      EXPECT_STREQ(at, behind);
    }
}

TEST(IpAddressTest, FamilyDecidesWhatMayBeAsked) {
  EXPECT_EQ(IpGenAddr("10.1.2.3").v4().value(), 0x0a010203u);
  EXPECT_EQ(IpGenAddr("::1").v6(), Ip6Addr("::1"));
  EXPECT_THAT([] { IpGenAddr("::1").v4(); },
              ThrowsMessage<RangeException>(StrEq("IpGenAddr::af != ipv4 not allowed")));
  EXPECT_THAT([] { IpGenAddr().v6(); },
              ThrowsMessage<RangeException>(StrEq("IpGenAddr::af != ipv6 not allowed")));
  EXPECT_EQ(IpGenAddr().af(), afUnknown());
  EXPECT_EQ(IpGenAddr("::").af(), ipv6());
  EXPECT_TRUE(IpGenAddr("0.0.0.0").isV4());
  EXPECT_NE(IpGenAddr("0.0.0.0"), IpGenAddr());
  EXPECT_NE(IpGenAddr("0.0.0.0").hash(), IpGenAddr("::").hash());
}

TEST(IpAddressTest, WireIsFamilyAndBytesInNetworkOrder) {
  expectWire(IpAddr("10.0.0.1"), {"\x0a\0\0\1", 4});
  expectWire(Ip6Addr("1:2::f"), {"\0\1\0\2\0\0\0\0\0\0\0\0\0\0\0\x0f", 16});
  expectWire(IpGenAddr(), {"\0", 1});
  expectWire(IpGenAddr("10.0.0.1"), {"\1\x0a\0\0\1", 5});
  expectWire(IpGenAddr("::1"), {"\2\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\1", 17});
  expectWire(IpGenPrefix(), {"\0\0", 2});
  expectWire(IpGenPrefix("10.0.0.0/8"), {"\1\x0a\0\0\0\x08", 6});
  expectWire(IpGenPrefix("2001:db8::/32"));
  EXPECT_THROW(decoded<IpGenAddr>("\3"), ParseException);
  for (const std::string_view bad : {"\1\x0a\0\0\1\x08", "\1\x0a\0\0\0\x21"})
    EXPECT_THROW(decoded<IpGenPrefix>({bad.data(), 6}), RangeException);
  EXPECT_THROW(decoded<IpGenPrefix>({"\0\1", 2}), RangeException);
}

TEST(IpAddressTest, OrderIsFamilyThenAddressThenLength) {
  const char* const ascending[] = {
      "none",        "0.0.0.0/0",   "0.0.0.0/1",      "9.255.255.255/32",   "10.0.0.0/8",
      "10.0.0.0/32", "10.0.0.1/32", "192.168.0.0/16", "255.255.255.255/32", "::/0",
      "::/128",      "::1/128",     "::100/128",      "0:0:0:1::/64",       "1::/64",
      "7fff::/128",  "8000::/1",    "ffff::/16"};
  std::vector<IpGenPrefix> values;
  for (const char* text : ascending) {
    values.emplace_back(text);
    EXPECT_EQ(textOf(values.back()), text);
  }
  for (std::size_t a = 0; a < values.size(); ++a)
    for (std::size_t b = 0; b < values.size(); ++b) {
      EXPECT_EQ(values[a] <=> values[b], a <=> b) << values[a] << ' ' << values[b];
      EXPECT_EQ(values[a] == values[b], a == b);
      EXPECT_EQ(values[a].hash() == values[b].hash(), a == b);
      EXPECT_LE((values[a].address() <=> values[b].address()) == 0 ? 0 : 1, a == b ? 0 : 1);
    }
}

TEST(IpPrefixTest, MalformedTextAndBitsBehindTheLengthAreRefused) {
  for (const char* bad : {"",
                          "10.0.0.0",
                          "10.0.0.0/",
                          "10.0.0.0/33",
                          "10.0.0.0/08",
                          "10.0.0.1/31",
                          "10.0.0/8",
                          "128.0.0.0/0",
                          "10.0.0.0/8/8",
                          "10.0.0.0/ 8",
                          "10.0.0.0/8 ",
                          "10.0.0.0/+8",
                          "10.0.0.0/-1",
                          "10.0.0.0/256",
                          "10.0.0.0/8.",
                          "10.0.0.0//8",
                          "/8",
                          "none/0",
                          "::/129",
                          "::/1000",
                          "::1/127",
                          "0:0:0:1::/63",
                          "8000::/0",
                          "1::/",
                          "::/0x0",
                          "0:0:0:0:8000::/64",
                          "nonesuch"}) {
    IpGenPrefix v("10.0.0.0/8");
    EXPECT_EQ(IpGenPrefix::fromText(bad), std::nullopt) << bad;
    EXPECT_THROW(Forma::strepToValue(bad, &v), Forma::Exception) << bad;
    EXPECT_THAT([&] { v.stringValueIs(bad); },
                ThrowsMessage<RangeException>("Invalid IP prefix \"" + std::string(bad) + "\""));
    EXPECT_EQ(v, IpGenPrefix("10.0.0.0/8"));
  }
  const char* const behind = "::1/127}";
  IpGenPrefix v;
  Forma::TextIn in(behind);
  EXPECT_THAT([&] { Forma::parse(in, v); },
              ThrowsMessage<RangeException>(StrEq("Invalid IP prefix \"::1/127\"")));
}

TEST(IpPrefixTest, ConstructionNamesTheBoundThatIsBroken) {
  const std::string bits = "IpGenPrefix::address has bits set behind its length: not allowed";
  const std::tuple<const char*, unsigned, std::string> bad[] = {
      {"10.0.0.0", 33, "IpGenPrefix::length > 32 not allowed"},
      {"10.0.0.0", 264, "IpGenPrefix::length > 32 not allowed"},
      {"::", 129, "IpGenPrefix::length > 128 not allowed"},
      {"none", 1, "IpGenPrefix::length > 0 not allowed"},
      {"10.0.0.1", 31, bits},
      {"::1", 127, bits},
      {"0:0:0:1::", 63, bits}};
  for (const auto& one : bad) {
    const auto make = [&] { IpGenPrefix(IpGenAddr(std::get<0>(one)), std::get<1>(one)); };
    EXPECT_THAT(make, ThrowsMessage<RangeException>(StrEq(std::get<2>(one))));
  }
  EXPECT_EQ(IpGenPrefix(IpGenAddr("10.0.0.0"), 8), IpGenPrefix("10.0.0.0/8"));
  EXPECT_EQ(IpGenPrefix(IpGenAddr(), 0), IpGenPrefix());
}

/// Compares bit for bit.
bool agreesOn(unsigned length, const IpGenAddr& a, const IpGenAddr& b) {
  for (unsigned bit = 0; bit < length; ++bit)
    if ((a.bytes()[bit / 8] ^ b.bytes()[bit / 8]) & (0x80u >> bit % 8)) return false;
  return true;
}

/// The address with `from` and all bits behind it cleared.
IpGenAddr cleared(const IpGenAddr& v, unsigned from) {
  Ip6Addr::Bytes bytes = v.bytes();
  for (unsigned bit = from; bit < v.bits(); ++bit)
    bytes[bit / 8] &= static_cast<std::uint8_t>(~(0x80u >> bit % 8));
  if (v.isV6()) return Ip6Addr(bytes);
  return IpAddr(IpAddr::Bytes{bytes[0], bytes[1], bytes[2], bytes[3]});
}

TEST(IpPrefixTest, ContainsWhatAgreesInItsBits) {
  Random random(33);
  for (int i = 0; i < 20000; ++i) {
    const bool v4 = next(random) % 2 == 0;
    const IpGenAddr addr = v4 ? IpGenAddr(IpAddr(next(random))) : IpGenAddr(randomV6(random));
    const unsigned length = next(random) % (addr.bits() + 1);
    const IpGenPrefix prefix(cleared(addr, length), length);
    EXPECT_TRUE(prefix.contains(addr)) << prefix << ' ' << addr;

    Ip6Addr::Bytes bytes = addr.bytes();
    const unsigned flipped = next(random) % addr.bits();
    bytes[flipped / 8] ^= static_cast<std::uint8_t>(0x80u >> flipped % 8);
    const IpGenAddr other =
        v4 ? IpGenAddr(IpAddr(IpAddr::Bytes{bytes[0], bytes[1], bytes[2], bytes[3]}))
           : IpGenAddr(Ip6Addr(bytes));
    EXPECT_EQ(prefix.contains(other), agreesOn(length, addr, other)) << prefix << ' ' << other;
    EXPECT_EQ(IpGenPrefix::fromText(textOf(other) + '/' + std::to_string(length)).has_value(),
              cleared(other, length) == other);
    EXPECT_EQ(IpGenPrefix(textOf(prefix)), prefix);
    if (HasFailure()) FAIL() << "at step " << i;
  }
  EXPECT_FALSE(IpGenPrefix("0.0.0.0/0").contains(IpGenAddr("::")));
  EXPECT_FALSE(IpGenPrefix("::/0").contains(IpGenAddr("0.0.0.0")));
  EXPECT_FALSE(IpGenPrefix().contains(IpGenAddr()));
}

}  // namespace
