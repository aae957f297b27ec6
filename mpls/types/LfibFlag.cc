#include "mpls/types/LfibFlag.h"

namespace Mpls {

FORMA_DEFINE_VALUE(LfibFlag)

}  // namespace Mpls
