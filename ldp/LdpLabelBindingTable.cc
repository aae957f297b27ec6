#include "ldp/LdpLabelBindingTable.h"

namespace Ldp::LdpTarn {

FORMA_DEFINE_ENTITY(LdpLabelBindingTable)

LdpLabelBindingTable::~LdpLabelBindingTable() = default;

}  // namespace Ldp::LdpTarn
