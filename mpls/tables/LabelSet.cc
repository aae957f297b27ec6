#include "mpls/tables/LabelSet.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(MplsLabelSet)
FORMA_DEFINE_ENTITY(MplsTimedLabelSet)
FORMA_DEFINE_ENTITY(FecLabelSet)

MplsLabelSet::~MplsLabelSet() = default;
MplsTimedLabelSet::~MplsTimedLabelSet() = default;
FecLabelSet::~FecLabelSet() = default;

}  // namespace Mpls
