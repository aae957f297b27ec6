#include "mpls/lfib/LfibTrackingStatus.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(LfibTrackingStatus)

LfibTrackingStatus::~LfibTrackingStatus() = default;

}  // namespace Mpls
