#include "mpls/types/RouteKey.h"

namespace Mpls {

FORMA_DEFINE_VALUE(RouteMetric)
FORMA_DEFINE_VALUE(RouteKey)

}  // namespace Mpls
