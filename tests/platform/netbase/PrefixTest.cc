// Prefixes of one family behave as prefixes of any family do: text, wire, order, what is refused.
#include "platform/netbase/Prefix.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <random>

#include "platform/forma/FlatForm.h"
#include "tests/platform/netbase/Forms.h"

namespace Netbase {
namespace {

template <class P>
class PrefixTest : public ::testing::Test {
 protected:
  /// Mostly zeros, so that prefixes share beginnings and addresses end early.
  typename P::Address anyAddress() {
    typename P::Address::Bytes bytes{};
    for (auto& byte : bytes)
      if (random() % 3 == 0) byte = static_cast<std::uint8_t>(1U << random() % 8);
    return typename P::Address(bytes);
  }
  std::mt19937 random{7};
};
using Families = ::testing::Types<Prefix, Ip6Prefix>;
TYPED_TEST_SUITE(PrefixTest, Families);

TYPED_TEST(PrefixTest, FollowsTheGenericPrefix) {
  using P = TypeParam;
  std::vector<P> all;
  for (int step = 0; step < 4000; ++step) {
    const auto address = this->anyAddress();
    const auto length = static_cast<unsigned>(this->random() % (P::maxLength + 2));
    std::optional<IpGenPrefix> generic;
    try {
      generic = IpGenPrefix(IpGenAddr(address), length);
    } catch (const RangeException& refused) {
      expectRangeError([&] { P(address, length); }, refused.what());
    }
    std::array<std::byte, Forma::flatBytes<P>> flat;
    const auto bytes = address.bytes();
    std::memcpy(flat.data(), bytes.data(), bytes.size());
    flat.back() = static_cast<std::byte>(length);
    P loaded;
    ASSERT_EQ(Forma::loadFlat(flat.data(), loaded), generic.has_value()) << step;
    if (!generic) continue;
    const P prefix(address, length);
    EXPECT_TRUE(loaded == prefix && prefix.generic() == *generic && P(*generic) == prefix);
    EXPECT_TRUE(prefix.address() == address && prefix.length() == length);
    std::string wire;
    Forma::encode(wire, address);
    expectForms(prefix, textOf(*generic), wire + static_cast<char>(length));
    if (all.size() < 60 && std::ranges::find(all, prefix) == all.end()) all.push_back(prefix);
  }
  std::ranges::sort(all, {}, &P::generic);
  expectOrder(all);
}

TYPED_TEST(PrefixTest, TheOtherFamilyIsRefused) {
  const bool isV4 = std::is_same_v<TypeParam, Prefix>;
  EXPECT_EQ(textOf(TypeParam()), isV4 ? "0.0.0.0/0" : "::/0");
  const std::string_view other = isV4 ? "2001:db8::/32" : "10.0.0.0/8";
  EXPECT_THROW(TypeParam{other}, RangeException);
  EXPECT_THROW(TypeParam{IpGenPrefix()}, RangeException);
  expectRefused(TypeParam(), {other, "none", "", "10.0.0.1/8", "2001:db8::1/32", "10.0.0.0/33"});
}

}  // namespace
}  // namespace Netbase
