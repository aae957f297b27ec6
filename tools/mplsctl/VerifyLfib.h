/// Checks what the rows of an LFIB say of each other.
///
/// Thread    that of the LFIB.
/// Writer    may live and write, or be dead.
/// Cost      one walk through each table, with many lookups at a time.
/// Memory    a bit for each place where a row of vias or via sets may begin.
#pragma once

#include <string>

#include "mpls/lfib/LfibStatus.h"
#include "tools/mplsctl/Progress.h"
#include "tools/mplsctl/VerifyCheck.h"

namespace MplsCtl {

/// The checks of an LFIB that is attached as a reader; `place` is its directory:
///   references    each route leads to a via set, each via set to vias, that are there
///   homogeneity   a via set is of the type of its vias; what EVPN types ask for
///   unreferenced  each via set is used by a route, each via by a via set; told while nobody writes
/// `progress` may be null.
void verifyLfib(const Mpls::LfibStatus& lfib, const std::string& place, const CheckSink& sink,
                Progress* progress = nullptr);

}  // namespace MplsCtl
