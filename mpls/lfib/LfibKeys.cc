#include "mpls/lfib/LfibKeys.h"

namespace Mpls {

FORMA_DEFINE_VALUE(LfibViaKey)
FORMA_DEFINE_VALUE(LfibViaSetKey)
FORMA_DEFINE_VALUE(LfibDot1qTagToVlanKey)
FORMA_DEFINE_VALUE(LfibDot1qTagToVlanCompositeKey)

}  // namespace Mpls
