/// SONiC files of tables: a JSON array of objects, each with one "TABLE:KEY" and an "OP". Of the
/// tables, LABEL_ROUTE_TABLE gives routes and INTF_TABLE the interfaces without MPLS; others, such
/// as ROUTE_TABLE, hold no label routes and are passed over.
#pragma once

#include "agents/routes/RouteFile.h"

namespace StaticRoutes {

RouteFile sonicFileFromText(std::string_view text, Mpls::RouteMetric metric);

}  // namespace StaticRoutes
