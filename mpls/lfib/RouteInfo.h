/// The row of a route that the hardware does not forward.
#pragma once

#include <cstdint>

#include "mpls/types/RouteKey.h"

namespace Mpls {

/// What became of a route in the hardware.
enum LfibHwProgrammingReturnCode : std::uint32_t {
  programmed_ = 0,
  conflict_ = 1,
  routeNotProgrammed_ = 2,
  adjacencyNotProgrammed_ = 3,
};
FORMA_ENUM(Mpls, LfibHwProgrammingReturnCode, programmed, conflict, routeNotProgrammed,
           adjacencyNotProgrammed)

class RouteInfo {
  FORMA_VALUE(Mpls::RouteInfo, key, status)
  FORMA_FIELD(RouteKey, key)
  /// Why not.
  FORMA_FIELD(LfibHwProgrammingReturnCode, status, programmed_)
 public:
  constexpr RouteInfo() = default;
  explicit constexpr RouteInfo(RouteKey key) : key_(key) {}
  constexpr RouteInfo(RouteKey key, LfibHwProgrammingReturnCode status)
      : key_(key), status_(status) {}
};

}  // namespace Mpls
