#include "mpls/lfib/LfibIpLookupStatus.h"

namespace Mpls {

FORMA_DEFINE_VALUE(LfibIpLookupStatusLabelVrfAf)
FORMA_DEFINE_ENTITY(LfibIpLookupStatus)

LfibIpLookupStatus::~LfibIpLookupStatus() = default;

}  // namespace Mpls
