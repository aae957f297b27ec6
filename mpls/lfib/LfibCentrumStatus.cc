#include "mpls/lfib/LfibCentrumStatus.h"

namespace Mpls {

FORMA_DEFINE_VALUE(LfibCentrumIpLookupVia)
FORMA_DEFINE_VALUE(LfibCentrumVlanVia)
FORMA_DEFINE_VALUE(LfibCentrumVlanFloodVia)
FORMA_DEFINE_VALUE(LfibCentrumEthernetSegmentFilterVia)

FORMA_DEFINE_ENTITY(LfibCentrumStatus)

LfibCentrumStatus::~LfibCentrumStatus() = default;

}  // namespace Mpls
