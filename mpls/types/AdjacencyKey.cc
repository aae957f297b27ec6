#include "mpls/types/AdjacencyKey.h"

namespace Mpls {

FORMA_DEFINE_VALUE(AdjacencyKey)

}  // namespace Mpls
