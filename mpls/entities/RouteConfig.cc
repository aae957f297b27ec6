#include "mpls/entities/RouteConfig.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(RouteConfigInput)
FORMA_DEFINE_ENTITY(RouteConfig)

RouteConfigInput::~RouteConfigInput() = default;
RouteConfig::~RouteConfig() = default;

}  // namespace Mpls
