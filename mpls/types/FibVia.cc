#include "mpls/types/FibVia.h"

namespace Mpls {

FORMA_DEFINE_VALUE(FibVia)

}  // namespace Mpls
