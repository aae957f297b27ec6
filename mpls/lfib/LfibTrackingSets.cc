#include "mpls/lfib/LfibTrackingSets.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(LfibViaSetKeyToRouteKeySet)
FORMA_DEFINE_ENTITY(LfibViaSetKeyToLfibViaKeySet)
FORMA_DEFINE_ENTITY(LfibViaKeyToLfibViaSetKeySet)

LfibViaSetKeyToRouteKeySet::~LfibViaSetKeyToRouteKeySet() = default;
LfibViaSetKeyToLfibViaKeySet::~LfibViaSetKeyToLfibViaKeySet() = default;
LfibViaKeyToLfibViaSetKeySet::~LfibViaKeyToLfibViaSetKeySet() = default;

}  // namespace Mpls
