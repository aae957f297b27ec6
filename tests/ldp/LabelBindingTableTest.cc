// The LDP entities that hold state: order, names, and what is told.
#include "ldp/LabelBindingTable.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "ldp/LdpLinkReadyStatus.h"
#include "ldp/LdpTarnRows.h"
#include "tests/support/Checks.h"

namespace Ldp {
namespace {

using Fec = Mpls::FwdEqvClass;
using Netbase::IntfId;

/// The keys of a walk, as text.
template <class Walk>
std::string walked(const Walk& walk) {
  std::string all;
  for (const auto& one : walk) all += std::string(Forma::valueToStrep(one.key).view()) + ' ';
  return all;
}

TEST(LabelBindingTableTest, WalksInKeyOrderAndNamesChildrenAfterTheirKeys) {
  const auto peers = labelBindingTableCollFactory("peers");
  for (const auto& id : Checks::parsed<LdpIdentifier>({"10.0.0.1:10", "10.0.0.1:2", "9.0.0.1:5"}))
    peers->newBindingTable(id);
  EXPECT_EQ(walked(peers->bindingTableIteratorConst()), "9.0.0.1:5 10.0.0.1:2 10.0.0.1:10 ");
  const auto table = peers->bindingTable(Checks::parsed<LdpIdentifier>("9.0.0.1:5"));
  const auto fecs = Checks::parsed<Fec>({"11.0.0.0/8", "9.0.0.0/8", "10.0.0.0/8"});
  for (const Fec& fec : fecs) {
    EXPECT_EQ(table->newMplsLabelSet(fec), table->mplsLabelSetIs(fec));
    table->newAdvertisedTo(fec);
    table->newFecFilteredState(fec, Mpls::fecFilteredStateUnfiltered_);
  }
  const std::string ordered = "9.0.0.0/8 10.0.0.0/8 11.0.0.0/8 ";
  EXPECT_EQ(walked(table->mplsLabelSetIteratorConst()), ordered);
  EXPECT_EQ(walked(table->advertisedToIteratorConst()), ordered);
  EXPECT_EQ(walked(table->fecFilteredStateIteratorConst()), ordered);
  const auto set = table->mplsLabelSet(fecs[2]);
  for (const unsigned label : {18U, 16U, 17U}) set->newMplsLabel(label, label != 17);
  EXPECT_EQ(walked(set->mplsLabelIteratorConst()), "16 17 18 ");
  EXPECT_EQ(set->fullName(), "peers/bindingTable/9.0.0.1:5/mplsLabelSet/10.0.0.0/8");
  EXPECT_EQ(mplsLabelSetFactory("mine", fecs[0])->name(), "mine");
  EXPECT_EQ(set->labelSource(), ldpLabelSourceUnknown());
  set->labelSourceIs(LdpLabelSourceInstance("ldpLabelSourcePeer"));
  EXPECT_EQ(Forma::valueToStrep(set->labelSource()), "ldpLabelSourcePeer");
}

TEST(LdpLinkReadyStatusTest, LinksAreNotReadyUntilToldSo) {
  const auto vrfs = ldpLinkReadyStatusVrfCollFactory("ready");
  vrfs->newReadyStatusVrf(L3::VrfName("red"));
  const auto links = vrfs->readyStatusVrfIs(L3::VrfName("blue"));
  EXPECT_EQ(walked(vrfs->readyStatusVrfIteratorConst()), "'blue' 'red' ");
  EXPECT_TRUE(links->vrfName() == L3::VrfName("blue") && links->name() == "'blue'");
  links->newReadyStatus(IntfId("eth1"));
  const auto link = links->readyStatusIs(IntfId("eth0"));
  EXPECT_EQ(walked(links->readyStatusIteratorConst()), "'eth0' 'eth1' ");
  struct : LdpLinkReadyStatus::NotifieeConst {
    void onReady() override { ++told; }
    int told = 0;
  } watch;
  watch.notifierIs(link);
  EXPECT_FALSE(link->ready());
  link->readyIs(true);
  link->readyIs(true);
  EXPECT_EQ(watch.told, 1);
}

TEST(LdpTarnRowsTest, TextNamesTypesAndFieldsInOrder) {
  using namespace LdpTarn;
  const auto fec = Checks::parsed<Fec>("10.0.0.0/8");
  const std::string id = "'ldpIdentifier': 0.0.0.2:0", of = "'fwdEqvClass': 10.0.0.0/8";
  EXPECT_EQ(Forma::valueToStrep(LdpPeerLbtKey(LdpIdentifier(2), fec, 16)).view(),
            "Value('Ldp::LdpTarn::LdpPeerLbtKey', ** {" + id + ", " + of + ", 'label': 16})");
  EXPECT_EQ(
      Forma::valueToStrep(LdpLocalLbtFilterState(fec, Mpls::fecFilteredStateFiltered_)).view(),
      "Value('Ldp::LdpTarn::LdpLocalLbtFilterState', ** {'key': 10.0.0.0/8, "
      "'fecFilteredState': fecFilteredStateFiltered})");
  EXPECT_LT(LdpLocalLbtKey(fec, 17), LdpLocalLbtKey(Checks::parsed<Fec>("10.0.0.0/9"), 16));
  EXPECT_LT(LdpPeerLbtKey(LdpIdentifier(2), fec, 17), LdpPeerLbtKey(LdpIdentifier(3), fec, 16));
}

}  // namespace
}  // namespace Ldp
