#include "ldp/Registration.h"

#include "ldp/LdpIdentifierSet.h"
#include "mpls/types/Registration.h"

namespace Ldp {

void registerEntityTypes(Forma::TypeRegistry& registry) {
  Mpls::registerTypes(registry);
  registry.addEntity<LdpIdentifierSet, LdpIdIntfIpMappingTable>();
}

}  // namespace Ldp
