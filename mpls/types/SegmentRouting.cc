#include "mpls/types/SegmentRouting.h"

namespace Mpls::SegmentRouting {

FORMA_DEFINE_VALUE(SegmentIdentifier)
FORMA_DEFINE_VALUE(AdjacencySegmentKey)
FORMA_DEFINE_VALUE(AdjacencySegmentFlags)

}  // namespace Mpls::SegmentRouting
