/// What is wrong with one row of an LFIB as it is now, in words; empty when nothing is, or the row
/// is gone.
///
/// Thread    that of the LFIB.
/// Writer    may live and write: what changes while it is looked at is looked at again.
#pragma once

#include <string>

#include "mpls/lfib/LfibStatus.h"

namespace MplsCtl {

bool hasVia(const Mpls::LfibStatus& lfib, const Mpls::LfibViaKey& key);

/// That a route leads to no via set, or a via set to a via that is not there.
std::string referenceProblem(const Mpls::LfibStatus& lfib, const Mpls::RouteKey& key);
std::string referenceProblem(const Mpls::LfibStatus& lfib, const Mpls::LfibViaSetKey& key);

/// That a route or a via set is not as its type of vias asks for.
std::string homogeneityProblem(const Mpls::LfibRoute& route);
std::string homogeneityProblem(const Mpls::LfibViaSet& viaSet);

/// "Ldp 7, type MplsIp": without what all names of sources and types begin with.
std::string textOf(const Mpls::LfibViaKey& key);
std::string textOf(const Mpls::LfibViaSetKey& key);

}  // namespace MplsCtl
