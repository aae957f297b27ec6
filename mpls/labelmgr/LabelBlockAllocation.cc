#include "mpls/labelmgr/LabelBlockAllocation.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(LabelBlockAllocation)

LabelBlockAllocation::~LabelBlockAllocation() = default;

}  // namespace Mpls
