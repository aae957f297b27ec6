#include "mpls/lfib/LfibHwReasonStatus.h"

namespace Mpls {

FORMA_DEFINE_VALUE(UnprogrammedReasonKey)
FORMA_DEFINE_VALUE(UnprogrammedReason)
FORMA_DEFINE_ENTITY(LfibHwReasonStatus)

LfibHwReasonStatus::~LfibHwReasonStatus() = default;

}  // namespace Mpls
