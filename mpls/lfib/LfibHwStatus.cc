#include "mpls/lfib/LfibHwStatus.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(LfibHwStatus)

LfibHwStatus::~LfibHwStatus() = default;

}  // namespace Mpls
