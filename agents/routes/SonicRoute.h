/// One entry of LABEL_ROUTE_TABLE.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "agents/routes/JsonTree.h"
#include "agents/routes/RouteFile.h"

namespace StaticRoutes {

/// The fields of a table's entry, by name; each is a string.
using SonicFields = std::map<std::string, std::string>;

/// Raises Refusal with that pointer.
[[noreturn]] void refuseAt(std::string pointer, std::string text);

/// The fields of the entry at `pointer`; raises Refusal when it is no object, or a field is no
/// string or stands there twice.
SonicFields sonicFields(const JsonTree& entry, const std::string& pointer);

/// The vias that the fields state, one at least; raises Refusal.
Vias sonicVias(const SonicFields& fields, const std::string& pointer);

}  // namespace StaticRoutes
