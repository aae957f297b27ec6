/// Checks that the LFIB holds the merged static routes, and no others of their source.
///
/// Thread    that of the configuration.
#pragma once

#include <string>

#include "mpls/entities/RouteConfig.h"
#include "mpls/lfib/LfibStatus.h"
#include "tools/mplsctl/VerifyCheck.h"

namespace MplsCtl {

/// The checks of the LFIB at `place` against a configuration that is ready:
///   merged  each merged route is there with its vias, as far as an LFIB can hold them
///   extra   no other route of lfibSourceStaticMpls is
/// Both may change in a pause.
void verifyRoutes(const Mpls::RouteConfig& config, const Mpls::LfibStatus& lfib,
                  const std::string& place, const Pause& pause, const CheckSink& sink);

}  // namespace MplsCtl
