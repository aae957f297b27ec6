/// IP addresses and prefixes, checked against the C library's inet_pton and inet_ntop.
#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <random>

#include "tests/platform/netbase/Forms.h"

namespace Netbase {
namespace {

using Random = std::mt19937;

std::uint32_t next(Random& random) { return static_cast<std::uint32_t>(random()); }

IpAddr randomOf(Random& random, const IpAddr&) {
  return IpAddr(next(random) & (next(random) % 4 ? ~0u : 0x0a0000ffu));
}

/// An address whose groups are often zero, so that runs of zeros of all lengths come up.
Ip6Addr randomOf(Random& random, const Ip6Addr&) {
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
template <class T>
std::optional<T> library(const std::string& text) {
  typename T::Bytes bytes;
  const int family = bytes.size() == 4 ? AF_INET : AF_INET6;
  if (inet_pton(family, text.c_str(), bytes.data()) != 1) return std::nullopt;
  return T(bytes);
}

/// A prefix by its definition: an address, a length in plain digits, and no bits behind it.
std::optional<IpGenPrefix> libraryPrefix(const std::string& text) {
  const std::size_t slash = std::min(text.rfind('/'), text.size());
  const auto v4 = library<IpAddr>(text.substr(0, slash));
  const auto v6 = library<Ip6Addr>(text.substr(0, slash));
  if (slash == text.size() || (!v4 && !v6)) return std::nullopt;
  const IpGenAddr address = v4 ? IpGenAddr(*v4) : IpGenAddr(*v6);
  const std::string digits = text.substr(slash + 1);
  unsigned length = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), length);
  if (digits != std::to_string(length) || length > address.bits()) return std::nullopt;
  for (unsigned bit = length; bit < address.bits(); ++bit)
    if (address.bytes()[bit / 8] & 0x80u >> bit % 8) return std::nullopt;
  return IpGenPrefix(address, length);
}

/// All readers of a text agree with what the library made of it.
template <class T>
bool expectRead(const std::string& text, const std::optional<T>& expected) {
  EXPECT_EQ(T::fromText(text), expected) << text;
  if (expected) EXPECT_EQ(parsed<T>(text), *expected) << text;
  else expectRefused(T(), {text});
  return expected.has_value();
}

template <class T>
void expectAgreement(const std::string& special, int leastAccepted) {
  Random random(20);
  int accepted = 0;
  for (int i = 0; i < 30'000 && !testing::Test::HasFailure(); ++i) {
    const T addr = randomOf(random, T());
    char text[INET6_ADDRSTRLEN];
    inet_ntop(sizeof addr == 4 ? AF_INET : AF_INET6, addr.bytes().data(), text, sizeof text);
    // The library embeds IPv4 behind 96 zero bits too, where we print groups.
    const bool embedded = sizeof addr == 16 && std::string_view(text).starts_with("::") &&
                          std::string_view(text).find('.') != std::string_view::npos;
    EXPECT_TRUE((embedded && addr.bytes()[10] != 0xff) || textOf(addr) == text) << text;
    expectRead<T>(textOf(addr), addr);
    expectRead<IpGenAddr>(textOf(IpGenAddr(addr)), addr);
    const std::string other = mutated(next(random) % 4 ? text : special, random);
    accepted += expectRead(other, library<T>(other));
    const std::string prefix =
        textOf(addr) + '/' + std::to_string(next(random) % (8 * sizeof addr));
    for (const std::string& one : {prefix, mutated(prefix, random)})
      accepted += expectRead(one, libraryPrefix(one));
  }
  EXPECT_GT(accepted, leastAccepted);  // the mutations reach both sides
}

TEST(IpAddressTest, AgreesWithTheLibraryOnIpv4) { expectAgreement<IpAddr>("10.0.0.1", 1000); }
TEST(IpAddressTest, AgreesWithTheLibraryOnIpv6) {
  expectAgreement<Ip6Addr>("1:2:3:4:5:6:7.8.9.10", 5000);
}

TEST(IpAddressTest, BadTextIsNamedAndNothingAssigned) {
  const std::pair<const char*, const char*> errors[] = {
      {"10.0.0.01", "Invalid IP address \"10.0.0.01\""},
      {"10.0.0.256, 'x'", "Invalid IP address \"10.0.0.256\""},
      {"1::2::3 via", "Invalid IP address \"1::2::3\""},
      {"hello, world", "Invalid IP address \"hello\""},
      {"", "Invalid IP address \"\""}};
  IpGenAddr kept("10.0.0.1");
  for (const auto& [text, error] : errors) {
    Forma::TextIn in(text);
    expectRangeError([&] { Forma::parse(in, kept); }, error);
    EXPECT_EQ(in.rest(), text);
  }
  expectRangeError([&] { kept.stringValueIs("::1 "); }, "Invalid IP address \"::1 \"");
  expectRangeError([&] { kept.stringValueIs(String8(std::string(100, '1'))); },
                   "Invalid IP address \"" + std::string(60, '1') + "...\"");
  EXPECT_EQ(kept, IpGenAddr("10.0.0.1"));
  IpGenPrefix prefix("10.0.0.0/8");
  Forma::TextIn in("::1/127}");
  expectRangeError([&] { Forma::parse(in, prefix); }, "Invalid IP prefix \"::1/127\"");
  for (const char* bad : {"", "/8", "none/0", "10.0.0.0/256", "10.0.0.0/8/8", "::/1000", "1::/"})
    expectRangeError([&] { prefix.stringValueIs(bad); },
                     "Invalid IP prefix \"" + std::string(bad) + "\"");
  EXPECT_EQ(prefix, IpGenPrefix("10.0.0.0/8"));
}

TEST(IpAddressTest, FamilyDecidesWhatMayBeAsked) {
  EXPECT_EQ(IpGenAddr("10.1.2.3").v4().value(), 0x0a010203u);
  EXPECT_EQ(IpGenAddr("::1").v6(), Ip6Addr("::1"));
  expectRangeError([] { IpGenAddr("::1").v4(); }, "IpGenAddr::af != ipv4 not allowed");
  expectRangeError([] { IpGenAddr().v6(); }, "IpGenAddr::af != ipv6 not allowed");
}

TEST(IpAddressTest, WireIsFamilyAndBytesInNetworkOrder) {
  expectForms(IpAddr("10.0.0.1"), "10.0.0.1", {"\x0a\0\0\1", 4});
  expectForms(Ip6Addr("1:2::F"), "1:2::f", {"\0\1\0\2\0\0\0\0\0\0\0\0\0\0\0\x0f", 16});
  expectForms(Ip6Addr("::0.0.0.15"), "::f", {"\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x0f", 16});
  expectForms(Ip6Addr("::1.2.0.0"), "::102:0", {"\0\0\0\0\0\0\0\0\0\0\0\0\1\2\0\0", 16});
  expectForms(IpGenAddr(), "none", {"\0", 1});
  expectForms(IpGenAddr("10.0.0.1"), "10.0.0.1", {"\1\x0a\0\0\1", 5});
  expectForms(IpGenAddr("::1"), "::1", {"\2\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\1", 17});
  expectForms(IpGenPrefix(), "none", {"\0\0", 2});
  expectForms(IpGenPrefix("10.0.0.0/8"), "10.0.0.0/8", {"\1\x0a\0\0\0\x08", 6});
  EXPECT_THROW(decoded<IpGenAddr>("\3"), ParseException);
  for (const std::string_view bad : {"\1\x0a\0\0\1\x08", "\1\x0a\0\0\0\x21"})
    EXPECT_THROW(decoded<IpGenPrefix>({bad.data(), 6}), RangeException);
  EXPECT_THROW(decoded<IpGenPrefix>({"\0\1", 2}), RangeException);
}

TEST(IpAddressTest, OrderIsFamilyThenAddressThenLength) {
  std::vector<IpGenPrefix> prefixes;
  std::vector<IpGenAddr> addresses;
  for (const char* text :
       {"none", "0.0.0.0/0", "0.0.0.0/1", "9.255.255.255/32", "10.0.0.0/8", "10.0.0.0/32",
        "10.0.0.1/32", "192.168.0.0/16", "255.255.255.255/32", "::/0", "::/128", "::1/128",
        "::100/128", "0:0:0:1::/64", "1::/64", "7fff::/128", "8000::/1", "ffff::/16"}) {
    const IpGenPrefix& prefix = prefixes.emplace_back(text);
    if (addresses.empty() || addresses.back() != prefix.address())
      addresses.push_back(prefix.address());
  }
  expectOrder(prefixes);
  expectOrder(addresses);
}

TEST(IpPrefixTest, ConstructionNamesTheBoundThatIsBroken) {
  const std::string bits = "IpGenPrefix::address has bits set behind its length: not allowed";
  const std::tuple<const char*, unsigned, std::string> bad[] = {
      {"10.0.0.0", 33, "IpGenPrefix::length > 32 not allowed"},
      {"10.0.0.0", 264, "IpGenPrefix::length > 32 not allowed"},
      {"::", 129, "IpGenPrefix::length > 128 not allowed"},
      {"none", 1, "IpGenPrefix::length > 0 not allowed"},
      {"10.0.0.1", 31, bits},
      {"0:0:0:1::", 63, bits}};
  for (const auto& [address, length, error] : bad)
    expectRangeError([a = address, n = length] { IpGenPrefix(IpGenAddr(a), n); }, error);
}

/// Flips one bit of a network address: outside its prefix the two still agree.
template <class T>
void expectContainsByBits() {
  Random random(33);
  for (int i = 0; i < 10'000; ++i) {
    constexpr unsigned bits = 8 * sizeof(T);
    const unsigned length = next(random) % (bits + 1), flipped = next(random) % bits;
    auto bytes = randomOf(random, T()).bytes();
    const IpGenAddr inside{T(bytes)};
    bytes[flipped / 8] ^= static_cast<std::uint8_t>(0x80u >> flipped % 8);
    const IpGenAddr other{T(bytes)};
    for (unsigned bit = length; bit < bits; ++bit)
      bytes[bit / 8] &= static_cast<std::uint8_t>(~(0x80u >> bit % 8));
    const IpGenPrefix prefix(IpGenAddr(T(bytes)), length);
    EXPECT_TRUE(prefix.contains(other)) << prefix << ' ' << other;
    EXPECT_EQ(prefix.contains(inside), flipped >= length) << prefix << ' ' << inside;
  }
}

TEST(IpPrefixTest, ContainsWhatAgreesInItsBits) {
  expectContainsByBits<IpAddr>();
  expectContainsByBits<Ip6Addr>();
  EXPECT_FALSE(IpGenPrefix("0.0.0.0/0").contains(IpGenAddr("::")));
  EXPECT_FALSE(IpGenPrefix("::/0").contains(IpGenAddr("0.0.0.0")));
  EXPECT_FALSE(IpGenPrefix().contains(IpGenAddr()));
}

}  // namespace
}  // namespace Netbase
