#include "mpls/types/CommonLibTableNames.h"

namespace Mpls {

const Forma::String8 CommonLibTableNames::localLabelBindingTable = "localLabelBindingTable";
const Forma::String8 CommonLibTableNames::peerLabelBindingTableColl = "peerLabelBindingTableColl";

}  // namespace Mpls
