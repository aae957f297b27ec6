// The view of label-keyed vias in the central database.
#include "mpls/lfib/LfibCentrumStatus.h"

#include <gtest/gtest.h>

namespace Mpls {
namespace {

TEST(LfibCentrumStatusTest, ALabelHasOneRowOfEachKind) {
  struct Hears : LfibCentrumStatus::NotifieeConst {
    void onVlanVia(const Netbase::MplsLabel& label) override { sum += label.value(); }
    void onVlanFloodVia(const Netbase::MplsLabel&) override { sum += 1; }
    std::uint32_t sum = 0;
  } hears;
  const auto status = lfibCentrumStatusFactory("lfib");
  hears.notifierIs(status);
  status->newVlanVia({1000, Netbase::VlanId(5), LfibFlag(1)});
  status->vlanViaIs({1000, Netbase::VlanId(6), LfibFlag(0)});
  status->vlanViaDel(1001);
  status->vlanFloodViaIs({1000, Netbase::VlanId(7), LfibFlag(1)});
  EXPECT_EQ(hears.sum, 2001U);
  EXPECT_TRUE(status->vlanVias() == 1 && status->vlanVia(1000).vlanId() == Netbase::VlanId(6));
  EXPECT_EQ(status->vlanVia(7), LfibCentrumVlanVia());
  EXPECT_EQ(valueToStrep(LfibCentrumIpLookupVia(16, L3::VrfName("red"), Netbase::ipv4_)),
            "Value('Mpls::LfibCentrumIpLookupVia', ** {'label': 16, 'vrfName': 'red', 'af': "
            "ipv4})");
  EXPECT_EQ(valueToStrep(status->vlanFloodVia(1000)),
            "Value('Mpls::LfibCentrumVlanFloodVia', ** {'label': 1000, 'vlanId': 7, 'flag': "
            "Value('Mpls::LfibFlag', ** {'set': true})})");
}

}  // namespace
}  // namespace Mpls
