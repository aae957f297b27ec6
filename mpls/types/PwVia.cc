#include "mpls/types/PwVia.h"

namespace Mpls {

FORMA_DEFINE_VALUE(PwVia)

}  // namespace Mpls
