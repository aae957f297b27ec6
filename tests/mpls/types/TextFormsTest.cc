// The texts that people and tools know: every record to the letter, enumerations, flag sets.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "mpls/types/CommonLibTableNames.h"
#include "mpls/types/Constants.h"
#include "mpls/types/FecFilteredState.h"
#include "mpls/types/FibVia.h"
#include "mpls/types/Hardware.h"
#include "mpls/types/LFibRoute.h"
#include "mpls/types/LabelSource.h"
#include "mpls/types/LfibFlag.h"
#include "mpls/types/Protocol.h"
#include "mpls/types/PwVia.h"
#include "mpls/types/SegmentRouting.h"
#include "mpls/types/Via.h"

namespace {

using Forma::ParseException;
using Forma::RangeException;
using Netbase::IntfId;
using Netbase::IpGenAddr;
using ::testing::StrEq;
using ::testing::ThrowsMessage;

template <class T>
void expectText(const T& v, std::string text) {
  if (text.starts_with("*"))
    text.replace(0, 1, "Value('" + std::string(T::formaTypeName) + "', ** ");
  EXPECT_EQ(Mpls::valueToStrep(v), text.c_str());
  std::ostringstream out;
  out << v;
  EXPECT_EQ(out.str(), text);
  T back;
  Mpls::strepToValue(Forma::String8(text), &back);
  EXPECT_EQ(back, v);
}

TEST(TextFormsTest, RecordsNameTheirTypeAndFields) {
  using namespace Mpls;
  expectText(RouteMetric(7), "*{'value': 7})");
  expectText(RouteKey(16, 100),
             "*{'topLabel': 16, 'metric': Value('Mpls::RouteMetric', ** {'value': 100})})");
  expectText(Via(IpGenAddr("10.0.0.1"), "it's", Netbase::swap_, 16, IntfId("Ethernet25"), ipv4_,
                 true, uniform_, 2),
             "*{'nextHop': 10.0.0.1, 'nexthopGroup': 'it\\'s', 'labelAction': swap, "
             "'outLabel': 16, 'intf': 'Ethernet25', 'payloadType': ipv4, 'skipEgressAcl': true, "
             "'ttlMode': uniform, 'weight': 2})");
  expectText(PwVia(IntfId("pw1"), true, pwTypeEthernet_),
             "*{'pwIntfId': 'pw1', 'controlWordPresent': true, 'pwType': pwTypeEthernet})");
  expectText(AdjacencyKey(18446744073709551615U, mplsIp_),
             "*{'index': 18446744073709551615, 'adjType': mplsIp})");
  expectText(FibVia(IpGenAddr("fe80::1"), IntfId("eth0")), "*{'hop': fe80::1, 'intfId': 'eth0'})");
  expectText(FecId(1234567890123), "1234567890123");
  expectText(LFib::Route(RouteKey(16, 0), AdjacencyKey(5, mplsPseudowire_),
                         LFib::lfibSourceIsisSrV4Adj_, 9),
             "*{'routeKey': Value('Mpls::RouteKey', ** {'topLabel': 16, 'metric': "
             "Value('Mpls::RouteMetric', ** {'value': 0})}), 'adjKey': "
             "Value('Mpls::AdjacencyKey', ** {'index': 5, 'adjType': mplsPseudowire}), "
             "'source': lfibSourceIsisSrV4Adj, 'fec': 9})");
  expectText(Hardware::Route(17, Hardware::AdjacencyBaseKey(1, mplsExternalFec_), true),
             "*{'label': 17, 'adjBaseKey': Value('Mpls::Hardware::AdjacencyBaseKey', ** "
             "{'index': 1, 'adjType': mplsExternalFec}), 'unprogrammed': true})");
  const Hardware::L2Via l2(Netbase::push_, 18, ethernet_, pipe_, 4094, IntfId("Ethernet1"),
                           Netbase::EthAddr("00:1b:21:aa:bb:cc"), false);
  const std::string l2Text =
      "{'labelAction': push, 'outLabel': 18, 'payloadType': ethernet, 'ttlMode': pipe, "
      "'vlanId': 4094, 'l2Intf': 'Ethernet1', 'macAddr': 00:1b:21:aa:bb:cc, "
      "'skipEgressAcl': false})";
  expectText(l2, "*" + l2Text);
  expectText(Hardware::Via(IpGenAddr("10.0.0.1"), IpGenAddr(), Netbase::IpGenPrefix("10.0.0.0/8"),
                           IntfId("Vlan4"), l2),
             "*{'recursiveNextHop': 10.0.0.1, 'resolvedNextHop': none, 'route': 10.0.0.0/8, "
             "'l3Intf': 'Vlan4', 'l2Via': Value('Mpls::Hardware::L2Via', ** " +
                 l2Text + "})");
  expectText(SegmentRouting::AdjacencySegmentKey({3, true}, true),
             "*{'sid': Value('Mpls::SegmentRouting::SegmentIdentifier', ** "
             "{'index': 3, 'isValue': true}), 'isIpV6': true})");
  expectText(SegmentRouting::AdjacencySegmentFlags(true, false, true, false, true),
             "*{'isIpv6': true, 'backup': false, 'isValue': true, 'isLocal': false, "
             "'isSet': true})");
  expectText(LfibFlag(1), "*{'set': true})");
}

TEST(TextFormsTest, EnumeratorsAreKnownByNumberAndName) {
  using namespace Mpls;
  EXPECT_EQ(stringValue(fecFilteredStateFiltered()), "fecFilteredStateFiltered");
  EXPECT_EQ(FecFilteredStateInstance(2), fecFilteredStateUnfiltered_);
  EXPECT_EQ(FecFilteredStateInstance("fecFilteredStateUnknown"), fecFilteredStateUnknown_);
  EXPECT_EQ(ProtocolInstance(4), rsvp());
  EXPECT_EQ(ProtocolInstance("isis"), isis_);
  EXPECT_THROW(ProtocolInstance(5), RangeException);
  EXPECT_THROW(ProtocolInstance("isis_"), ParseException);
  EXPECT_THROW(LabelSourceInstance(0U), RangeException);
  EXPECT_EQ(LabelSourceInstance(1), staticFecBinding_);
  EXPECT_EQ(PayloadTypeInstance(5), autoDecide_);
  EXPECT_EQ(LFib::SourceInstance(16), LFib::lfibSourceMax_);
  EXPECT_EQ(LFib::stringValue(LFib::lfibSourceSrTePolicy()), "lfibSourceSrTePolicy");
  EXPECT_EQ(sizeof(LFib::Source), 4U);
  EXPECT_EQ(pwTypeEthernet_, 5);
  TtlMode mode = pipe_;
  EXPECT_THROW(strepToValue("pipes", &mode), ParseException);
  EXPECT_EQ(mode, pipe_);
}

TEST(TextFormsTest, FlagSetsHaveRawBits) {
  using Flags = Mpls::SegmentRouting::AdjacencySegmentFlags;
  for (std::uint32_t raw = 0; raw <= 0x1f; ++raw) {
    const Flags flags(raw);
    EXPECT_EQ(flags.value(), raw);
    EXPECT_EQ(flags, Flags((raw & 1) != 0, (raw & 2) != 0, (raw & 4) != 0, (raw & 8) != 0,
                           (raw & 16) != 0));
  }
  Flags flags(0x15);
  EXPECT_THAT(
      [&] { flags.valueIs(0x20); },
      ThrowsMessage<RangeException>(StrEq("AdjacencySegmentFlags::value > 0x1f not allowed")));
  EXPECT_EQ(flags.value(), 0x15);
  Mpls::LfibFlag flag(1);
  EXPECT_THAT([&] { flag.valueIs(0x100); },
              ThrowsMessage<RangeException>(StrEq("LfibFlag::value > 0x1 not allowed")));
  EXPECT_TRUE(flag.set());
}

TEST(TextFormsTest, SharedConstants) {
  EXPECT_EQ(Mpls::Constants::maxEcmpSize, 511U);
  EXPECT_EQ(Mpls::Constants::metricDefault, Mpls::RouteMetric(100));
  EXPECT_EQ(Mpls::CommonLibTableNames::localLabelBindingTable, "localLabelBindingTable");
}

}  // namespace
