#include "mpls/tables/Registration.h"

#include "mpls/tables/LabelBindingTable.h"
#include "mpls/types/Registration.h"

namespace Mpls {

void registerTableTypes(Forma::TypeRegistry& registry) {
  registerTypes(registry);
  registry.addEntity<MplsLabelSet, MplsTimedLabelSet, FecLabelSet, LabelBindingTable,
                     LabelBindingTableColl, IntfIpToRouterIdMappingTable>();
}

}  // namespace Mpls
