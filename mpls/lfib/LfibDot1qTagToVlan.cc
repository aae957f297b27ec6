#include "mpls/lfib/LfibDot1qTagToVlan.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(LfibDot1qTagToVlan)

LfibDot1qTagToVlan::~LfibDot1qTagToVlan() = default;

}  // namespace Mpls
