/// Routes, conflicts and changes as people read them.
#pragma once

#include <string>
#include <vector>

#include "agents/common/Table.h"
#include "agents/routes/MergedView.h"
#include "mpls/types/LabelRange.h"

namespace StaticRoutes {

/// A row for each via of each route, and one for the heading.
std::vector<Agents::Row> routeRows(const std::map<Mpls::RouteKey, RouteView>& routes);
/// A row for each conflict, and one for the heading.
std::vector<Agents::Row> conflictRows(const std::map<Mpls::RouteKey, Claimants>& conflicts);
/// "added: label 110 metric 100 from te: via 10.0.0.1 swap 210 dev eth0".
std::string changeLine(const Change& change);
/// "100-199".
std::string rangeText(const Mpls::LabelRange& range);

}  // namespace StaticRoutes
