#include "mpls/types/Hardware.h"

namespace Mpls::Hardware {

FORMA_DEFINE_VALUE(AdjacencyBaseKey)
FORMA_DEFINE_VALUE(Route)
FORMA_DEFINE_VALUE(L2Via)
FORMA_DEFINE_VALUE(Via)

}  // namespace Mpls::Hardware
