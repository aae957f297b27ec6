/// iproute2 commands: `ip -f mpls route add|replace|change|append|del ...`, run in their order.
///
/// Other `ip` commands and other lines of a script are passed over, unless they hold the word
/// "mpls": those are refused rather than lost.
#pragma once

#include "agents/routes/RouteFile.h"
#include "agents/routes/Words.h"

namespace StaticRoutes {

/// Whether the line is a command of iproute2, and not an FRR line that begins with "ip".
bool isIproute2Line(const Line& line);

RouteFile iproute2FileFromText(std::string_view text, Mpls::RouteMetric metric);

}  // namespace StaticRoutes
