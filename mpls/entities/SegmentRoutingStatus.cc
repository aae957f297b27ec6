#include "mpls/entities/SegmentRoutingStatus.h"

namespace Mpls::SegmentRouting {

FORMA_DEFINE_ENTITY(AdjacencySegment)
FORMA_DEFINE_ENTITY(PrefixList)
FORMA_DEFINE_ENTITY(IpReachabilityTable)
FORMA_DEFINE_ENTITY(Status)

AdjacencySegment::~AdjacencySegment() = default;
PrefixList::~PrefixList() = default;
IpReachabilityTable::~IpReachabilityTable() = default;
Status::~Status() = default;

}  // namespace Mpls::SegmentRouting
