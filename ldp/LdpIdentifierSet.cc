#include "ldp/LdpIdentifierSet.h"

namespace Ldp {

FORMA_DEFINE_ENTITY(LdpIdentifierSet)
FORMA_DEFINE_ENTITY(LdpIdIntfIpMappingTable)

LdpIdentifierSet::~LdpIdentifierSet() = default;
LdpIdIntfIpMappingTable::~LdpIdIntfIpMappingTable() = default;

}  // namespace Ldp
