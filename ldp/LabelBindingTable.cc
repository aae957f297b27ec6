#include "ldp/LabelBindingTable.h"

namespace Ldp {

FORMA_DEFINE_ENTITY(MplsLabelSet)
FORMA_DEFINE_ENTITY(LabelBindingTable)
FORMA_DEFINE_ENTITY(LabelBindingTableColl)

MplsLabelSet::~MplsLabelSet() = default;
LabelBindingTable::~LabelBindingTable() = default;
LabelBindingTableColl::~LabelBindingTableColl() = default;

}  // namespace Ldp
