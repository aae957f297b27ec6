/// Merged routes and conflicts as records.
#pragma once

#include "agents/routes/MergedView.h"
#include "tools/mplsctl/Record.h"

namespace MplsCtl {

extern const RecordType mergedRouteType;
extern const RecordType conflictType;

void fillRecord(Record& record, const Mpls::RouteKey& key, const StaticRoutes::RouteView& route);
void fillRecord(Record& record, const Mpls::RouteKey& key,
                const StaticRoutes::Claimants& claimants);

}  // namespace MplsCtl
