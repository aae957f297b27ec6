/// Puts the routes of a file into the input that publishes them.
///
/// Thread    that of the input.
/// Restart   none: what the input holds is the only state.
/// Cost      a walk over the input and a lookup for each route; a route that stays as it is costs
///           no notification.
#pragma once

#include <map>

#include "agents/routes/RouteFile.h"
#include "mpls/entities/RouteConfig.h"

namespace StaticRoutes {

/// Makes the routes of `input` those given, touching only what differs. A changed route gets its
/// new vias before it loses old ones: it is never without any. New routes are marked `dynamic`
/// as told.
void routesAre(Mpls::RouteConfigInput& input, const std::map<Mpls::RouteKey, Vias>& routes,
               bool dynamic);

}  // namespace StaticRoutes
