#include "bench/Row.h"

namespace Bench {

FORMA_DEFINE_VALUE(Row)
FORMA_DEFINE_ENTITY(Bench::Rows)

}  // namespace Bench
