#include "mpls/tables/LabelBindingTable.h"

#include <gtest/gtest.h>

#include <string>

namespace Mpls {
namespace {

FwdEqvClass fec(const char* text) {
  FwdEqvClass v;
  v.stringValueIs(text);
  return v;
}

TEST(LabelSetTest, StartsAsALearntSetWithoutLabels) {
  const auto set = mplsLabelSetFactory("set");
  EXPECT_EQ(set->labelSource(), ldpPeer());
  EXPECT_EQ(set->mplsLabels(), 0U);
  EXPECT_EQ(mplsTimedLabelSetFactory("timed")->lastUpdate(), 0.0);
  EXPECT_EQ(LabelSourceInstance(1), staticFecBinding());
  EXPECT_THROW(LabelSourceInstance(0), Forma::RangeException);
  EXPECT_EQ(stringValue(LabelSourceInstance("ldpPeer")), "ldpPeer");
}

/// Observers of a base hear the members that it knows, whatever the entity's type.
TEST(LabelSetTest, ObserversOfEveryLevelHearWhatTheyKnow) {
  struct Base : MplsLabelSet::NotifieeConst {
    void onMplsLabel(const Netbase::MplsLabel& label) override {
      text += std::to_string(label.value()) + ";";
    }
    std::string text;
  } base;
  struct Derived : FecLabelSet::NotifieeConst {
    void onMplsLabel(const Netbase::MplsLabel&) override { text += "label;"; }
    void onLabelSource() override { text += "source;"; }
    void onLastUpdate() override { text += "time;"; }
    std::string text;
  } derived;
  const auto set = fecLabelSetFactory("set", fec("10.0.0.0/8"));
  base.notifierIs(set);
  derived.notifierIs(set);
  set->newMplsLabel(16, true);
  set->lastUpdateIs(1.5);
  set->labelSourceIs(staticFecBinding());
  set->mplsLabelDel(16);
  EXPECT_EQ(base.text, "16;16;");
  EXPECT_EQ(derived.text, "label;time;source;label;");
  EXPECT_EQ(derived.notifier()->fwdEqvClass(), fec("10.0.0.0/8"));
}

TEST(LabelBindingTableTest, TablesMakeTheirSetsAndCollectionsTheirTables) {
  const auto coll = labelBindingTableCollFactory("peers");
  RouterId router;
  router.stringValueIs("10.0.0.1:0");
  const auto table = coll->newBindingTable(router);
  EXPECT_EQ(table->name(), "10.0.0.1:0");
  const auto set = table->newBinding(fec("2001:db8::/32"));
  EXPECT_EQ(table->bindingIs(fec("2001:db8::/32")), set);
  EXPECT_EQ(set->name(), "2001:db8::/32");
  EXPECT_EQ(set->fullName(), "peers/bindingTable/10.0.0.1:0/binding/2001:db8::/32");
  table->filteredFecIs(fec("10.0.0.0/8"), true);
  table->bindingDelAll();
  EXPECT_EQ(table->bindings(), 0U);
  coll->bindingTableDel(router);
  EXPECT_TRUE(table->isDeleted());
  EXPECT_EQ(table->filteredFecs(), 1U) << "whoever holds it may still read it";
}

TEST(IntfIpToRouterIdMappingTableTest, AddressFamiliesAreEntriesOfTheirOwn) {
  const auto table = intfIpToRouterIdMappingTableFactory("map");
  RouterId router;
  router.stringValueIs("10.0.0.1");
  table->intfIpToIdIs(Netbase::IpGenAddr(Forma::String8("10.1.1.1")), router);
  table->newIntfIpToId(Netbase::IpGenAddr(Forma::String8("::10.1.1.1")), router);
  EXPECT_EQ(table->intfIpToIds(), 2U);
  table->intfIpToIdDel(Netbase::IpGenAddr(Forma::String8("10.1.1.1")));
  EXPECT_EQ(table->intfIpToIds(), 1U);
}

}  // namespace
}  // namespace Mpls
