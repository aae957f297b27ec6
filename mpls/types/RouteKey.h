/// The key of an MPLS route, in the configuration and in the LFIB.
#pragma once

#include <compare>
#include <cstdint>

#include "mpls/types/Namespace.h"
#include "platform/netbase/MplsLabel.h"

namespace Mpls {

/// The preference among the routes of one label; the lower the better. A number converts to it.
class RouteMetric {
  FORMA_VALUE(Mpls::RouteMetric, value)
  FORMA_FIELD(std::uint8_t, value, 0)
 public:
  constexpr RouteMetric() = default;
  constexpr RouteMetric(std::uint8_t value) : value_(value) {}
  constexpr auto operator<=>(const RouteMetric&) const = default;
};

/// Routes of one label differ in their metric.
class RouteKey {
  FORMA_VALUE(Mpls::RouteKey, topLabel, metric)
  /// The incoming top label.
  FORMA_FIELD(Netbase::MplsLabel, topLabel)
  FORMA_FIELD(RouteMetric, metric)
 public:
  constexpr RouteKey() = default;
  constexpr RouteKey(Netbase::MplsLabel topLabel, RouteMetric metric)
      : topLabel_(topLabel), metric_(metric) {}
  constexpr auto operator<=>(const RouteKey&) const = default;
};

}  // namespace Mpls
