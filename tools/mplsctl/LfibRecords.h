/// Routes of an LFIB as records, many at a time.
///
/// Thread    one.
/// Cost      lookups of routes, via sets and vias are made for 32 routes at once, so that memory is
///           waited for once for all of them; nothing is allocated for a route.
#pragma once

#include <functional>

#include "mpls/lfib/LfibStatus.h"
#include "tools/mplsctl/LfibReader.h"
#include "tools/mplsctl/Record.h"

namespace MplsCtl {

extern const RecordType lfibRouteType;

/// Calls `visit` with the record of each route of a directory, in the order of the table, until it
/// returns false. The tables may change meanwhile.
void eachLfibRecord(const LfibDirectory& directory,
                    const std::function<bool(const Record&)>& visit);

/// Puts one route into `record`; as it is now.
void fillRecord(Record& record, const std::string& directory, const LfibEntry& entry);

/// The cells that name a route, and no others.
void fillKey(Record& record, const std::string& directory, const Mpls::RouteKey& key);

}  // namespace MplsCtl
