#include "mpls/types/LabelRange.h"

namespace Mpls {

FORMA_DEFINE_VALUE(LabelRange)

}  // namespace Mpls
