#include "mpls/tables/FibRoute.h"

namespace Tarn::Fib {

FORMA_DEFINE_VALUE(Via)
FORMA_DEFINE_VALUE(Route)

}  // namespace Tarn::Fib

namespace Tarn::Fib6 {

FORMA_DEFINE_VALUE(Route)

}  // namespace Tarn::Fib6
