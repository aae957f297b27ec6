#include "mpls/entities/DownstreamMappingSource.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(DownstreamMappingSource)
FORMA_DEFINE_ENTITY(DownstreamMappingSourceColl)

DownstreamMappingSource::~DownstreamMappingSource() = default;
DownstreamMappingSourceColl::~DownstreamMappingSourceColl() = default;

}  // namespace Mpls
