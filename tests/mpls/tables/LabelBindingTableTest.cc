#include "mpls/tables/LabelBindingTable.h"

#include "tests/support/Checks.h"

namespace Mpls {
namespace {

TEST(LabelBindingTableTest, TablesMakeTheirSetsAndCollectionsTheirTables) {
  const auto coll = labelBindingTableCollFactory("peers");
  const auto router = Checks::parsed<RouterId>("10.0.0.1:0");
  const auto fec = Checks::parsed<FwdEqvClass>("2001:db8::/32");
  const auto table = coll->newBindingTable(router);
  const auto set = table->newBinding(fec);
  EXPECT_EQ(set->fullName(), "peers/bindingTable/10.0.0.1:0/binding/2001:db8::/32");
  EXPECT_TRUE(table->routerId() == router && set->fwdEqvClass() == fec);
  EXPECT_EQ(set->labelSource(), ldpPeer());
  coll->bindingTableDelAll();
  EXPECT_TRUE(table->isDeleted());
}

}  // namespace
}  // namespace Mpls
