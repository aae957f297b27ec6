/// Checks LDP tables against the LFIB that belongs to them.
///
/// Thread    that of the tables.
/// Memory    the bindings, sorted: some 40 bytes for each.
#pragma once

#include <string>

#include "ldp/LdpLabelBindingTable.h"
#include "mpls/lfib/LfibStatus.h"
#include "tools/mplsctl/VerifyCheck.h"

namespace MplsCtl {

/// The checks:
///   bindings  each route of LDP has a label that is bound here, to its FEC if it names one
///   vias      and leaves with labels that peers bound to that FEC
///   routes    each label that was advertised for a FEC that a peer bound, too, has a route:
///   packets
///             that carry it would be dropped
/// Both may change in a pause.
void verifyLdp(const Ldp::LdpTarn::LdpLabelBindingTable& tables, const Mpls::LfibStatus& lfib,
               const std::string& place, const Pause& pause, const CheckSink& sink);

}  // namespace MplsCtl
