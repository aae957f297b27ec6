#include "mpls/entities/Config.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(Config)
FORMA_DEFINE_ENTITY(RoutingInfo)

Config::~Config() = default;
RoutingInfo::~RoutingInfo() = default;

}  // namespace Mpls
