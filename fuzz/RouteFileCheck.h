/// What every reader of a route file promises, whatever the bytes.
#pragma once

#include "agents/routes/Fields.h"
#include "agents/routes/RouteFile.h"
#include "fuzz/Check.h"
#include "mpls/types/Constants.h"

namespace StaticRoutes {

/// Labels and numbers of vias are within their bounds, and diagnostics can be printed.
inline void requireBounds(const RouteFile& file, std::uint32_t leastLabel) {
  for (const auto& [key, vias] : file.routes) {
    const std::uint32_t label = key.topLabel().value();
    require(label >= leastLabel && label <= Netbase::MplsLabel::max);
    require(!vias.empty() && vias.size() <= Mpls::Constants::maxEcmpSize);
  }
  for (const Diagnostic& one : file.diagnostics) require(one.text == printable(one.text));
}

}  // namespace StaticRoutes
