/// Numbers that all MPLS agents share.
#pragma once

#include <cstdint>

#include "mpls/types/RouteKey.h"

namespace Mpls {

struct Constants {
  /// The most next hops over which a route is spread.
  static constexpr std::uint32_t maxEcmpSize = 511;
  /// The metric of a route that is configured without one.
  static constexpr RouteMetric metricDefault{100};
};

}  // namespace Mpls
