/// Routes, conflicts and changes for programs.
#pragma once

#include <string_view>

#include "agents/common/JsonWriter.h"
#include "agents/routes/MergedView.h"

namespace StaticRoutes {

using Agents::Json;

/// {"label", "metric", "source", "vias": [...]}; what a via does not have is absent.
Json routeJson(const Mpls::RouteKey& key, const RouteView& route);
/// {"label", "metric", "sources": [...]}
Json conflictJson(const Mpls::RouteKey& key, const Claimants& claimants);
/// One of the two, after "event": what happened.
Json changeJson(const Change& change);

}  // namespace StaticRoutes
