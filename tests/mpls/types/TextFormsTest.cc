// The texts that people and tools know: every record to the letter, enumerations, flag sets.
#include <sstream>

#include "mpls/types/Constants.h"
#include "mpls/types/FibVia.h"
#include "mpls/types/Hardware.h"
#include "mpls/types/LFibRoute.h"
#include "mpls/types/LabelSource.h"
#include "mpls/types/LfibFlag.h"
#include "mpls/types/PwVia.h"
#include "mpls/types/SegmentRouting.h"
#include "mpls/types/Via.h"
#include "tests/support/Checks.h"

namespace {

using Checks::raised;
using Netbase::IntfId;
using Netbase::IpGenAddr;

template <class T>
void expectText(const T& v, std::string text) {
  if (text.starts_with("{"))
    text = "Value('" + std::string(T::formaTypeName) + "', ** " + text + ")";
  std::ostringstream out;
  out << v;
  EXPECT_EQ(out.str(), text);
  T back;
  Mpls::strepToValue(Forma::String8(text), &back);
  EXPECT_EQ(back, v) << text;
}

TEST(TextFormsTest, RecordsNameTheirTypeAndFields) {
  using namespace Mpls;
  expectText(Via(IpGenAddr("10.0.0.1"), "it's", Netbase::swap_, 16, IntfId("Ethernet25"), ipv4_,
                 true, uniform_, 2),
             "{'nextHop': 10.0.0.1, 'nexthopGroup': 'it\\'s', 'labelAction': swap, "
             "'outLabel': 16, 'intf': 'Ethernet25', 'payloadType': ipv4, 'skipEgressAcl': true, "
             "'ttlMode': uniform, 'weight': 2}");
  expectText(PwVia(IntfId("pw1"), true, pwTypeEthernet_),
             "{'pwIntfId': 'pw1', 'controlWordPresent': true, 'pwType': pwTypeEthernet}");
  expectText(FibVia(IpGenAddr("fe80::1"), IntfId("eth0")), "{'hop': fe80::1, 'intfId': 'eth0'}");
  expectText(FecId(1234567890123), "1234567890123");
  expectText(LFib::Route(RouteKey(16, 7), AdjacencyKey(5, mplsPseudowire_),
                         LFib::lfibSourceIsisSrV4Adj_, 9),
             "{'routeKey': Value('Mpls::RouteKey', ** {'topLabel': 16, 'metric': "
             "Value('Mpls::RouteMetric', ** {'value': 7})}), 'adjKey': "
             "Value('Mpls::AdjacencyKey', ** {'index': 5, 'adjType': mplsPseudowire}), "
             "'source': lfibSourceIsisSrV4Adj, 'fec': 9}");
  expectText(Hardware::Route(17, Hardware::AdjacencyBaseKey(1, mplsExternalFec_), true),
             "{'label': 17, 'adjBaseKey': Value('Mpls::Hardware::AdjacencyBaseKey', ** "
             "{'index': 1, 'adjType': mplsExternalFec}), 'unprogrammed': true}");
  expectText(Hardware::Via(IpGenAddr("10.0.0.1"), IpGenAddr(), Netbase::IpGenPrefix("10.0.0.0/8"),
                           IntfId("Vlan4"),
                           {Netbase::push_, 18, ethernet_, pipe_, 4094, IntfId("Ethernet1"),
                            Netbase::EthAddr("00:1b:21:aa:bb:cc"), true}),
             "{'recursiveNextHop': 10.0.0.1, 'resolvedNextHop': none, 'route': 10.0.0.0/8, "
             "'l3Intf': 'Vlan4', 'l2Via': Value('Mpls::Hardware::L2Via', ** {'labelAction': push, "
             "'outLabel': 18, 'payloadType': ethernet, 'ttlMode': pipe, 'vlanId': 4094, "
             "'l2Intf': 'Ethernet1', 'macAddr': 00:1b:21:aa:bb:cc, 'skipEgressAcl': true})}");
  expectText(SegmentRouting::AdjacencySegmentKey({3, false}, true),
             "{'sid': Value('Mpls::SegmentRouting::SegmentIdentifier', ** "
             "{'index': 3, 'isValue': false}), 'isIpV6': true}");
  expectText(SegmentRouting::AdjacencySegmentFlags(true, false, true, false, true),
             "{'isIpv6': true, 'backup': false, 'isValue': true, 'isLocal': false, "
             "'isSet': true}");
}

/// Numbers travel and texts are typed: both outlive a release.
TEST(TextFormsTest, NumbersAndNamesThatOthersKnow) {
  using namespace Mpls;
  EXPECT_EQ(LabelSourceInstance(1), staticFecBinding_);
  EXPECT_EQ(pwTypeEthernet_, 5);
  EXPECT_THROW(LabelSourceInstance(0U), Forma::RangeException);
  EXPECT_EQ(Via().weight(), 1U);
  EXPECT_EQ(Constants::metricDefault, RouteMetric(100));
}

TEST(TextFormsTest, FlagSetsHaveRawBits) {
  using Flags = Mpls::SegmentRouting::AdjacencySegmentFlags;
  for (std::uint32_t raw = 0; raw <= 0x1f; ++raw) {
    Flags flags(raw);
    EXPECT_EQ(flags, Flags((raw & 1) != 0, (raw & 2) != 0, (raw & 4) != 0, (raw & 8) != 0,
                           (raw & 16) != 0));
    EXPECT_EQ(raised([&] { flags.valueIs(raw + 0x20); }),
              "AdjacencySegmentFlags::value > 0x1f not allowed");
    EXPECT_EQ(flags.value(), raw);
  }
  Mpls::LfibFlag flag(1);
  EXPECT_EQ(raised([&] { flag.valueIs(0x100); }), "LfibFlag::value > 0x1 not allowed");
  EXPECT_TRUE(flag.set());
}

}  // namespace
