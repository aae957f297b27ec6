#include "mpls/entities/Capability.h"

namespace Mpls::Hardware {

FORMA_DEFINE_ENTITY(Capability)

Capability::~Capability() = default;

}  // namespace Mpls::Hardware
