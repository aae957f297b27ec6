#include "mpls/tables/LabelBindingTable.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(LabelBindingTable)
FORMA_DEFINE_ENTITY(LabelBindingTableColl)
FORMA_DEFINE_ENTITY(IntfIpToRouterIdMappingTable)

LabelBindingTable::~LabelBindingTable() = default;
LabelBindingTableColl::~LabelBindingTableColl() = default;
IntfIpToRouterIdMappingTable::~IntfIpToRouterIdMappingTable() = default;

}  // namespace Mpls
