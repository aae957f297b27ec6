/// Why a route of an LFIB is not forwarded, route by route and LFIB by LFIB.
///
/// RouteInfo has one return code for a route key. These rows say more: several LFIBs may have a
/// route of that key, each with a trouble of its own.
#pragma once

#include <cstdint>

#include "mpls/lfib/RouteInfo.h"
#include "mpls/types/LFibSource.h"

namespace Mpls {

/// Return codes of RouteInfo in brackets.
enum LfibHwReason : std::uint32_t {
  reasonNone_ = 0,            ///< it is forwarded (programmed)
  reasonConflict_ = 1,        ///< a route of the same key in another LFIB goes before (conflict)
  reasonViaSetMissing_ = 2,   ///< there is no such via set (adjacencyNotProgrammed)
  reasonViaSetEmpty_ = 3,     ///< the via set names no via (adjacencyNotProgrammed)
  reasonViasMissing_ = 4,     ///< none of its vias is there (adjacencyNotProgrammed)
  reasonViaTypeUnknown_ = 5,  ///< its kind of via has no table (routeNotProgrammed)
  reasonMetricNotZero_ = 6,   ///< its kind of via goes with metric 0 only (routeNotProgrammed)
  reasonViasTooMany_ = 7,     ///< its kind of via stands alone in a set (routeNotProgrammed)
};
FORMA_ENUM(Mpls, LfibHwReason, reasonNone, reasonConflict, reasonViaSetMissing, reasonViaSetEmpty,
           reasonViasMissing, reasonViaTypeUnknown, reasonMetricNotZero, reasonViasTooMany)

/// The return code that goes with a reason.
constexpr LfibHwProgrammingReturnCode returnCodeOf(LfibHwReason reason) {
  if (reason == reasonNone_) return programmed_;
  if (reason == reasonConflict_) return conflict_;
  return reason <= reasonViasMissing_ ? adjacencyNotProgrammed_ : routeNotProgrammed_;
}

/// One route of one LFIB.
class UnprogrammedReasonKey {
  FORMA_VALUE(Mpls::UnprogrammedReasonKey, routeKey, lfib)
  FORMA_FIELD(RouteKey, routeKey)
  /// The number of the LFIB among those that the forwarding agent was given, from 0.
  FORMA_FIELD(std::uint32_t, lfib, 0)
 public:
  constexpr UnprogrammedReasonKey() = default;
  constexpr UnprogrammedReasonKey(RouteKey routeKey, std::uint32_t lfib)
      : routeKey_(routeKey), lfib_(lfib) {}
  constexpr auto operator<=>(const UnprogrammedReasonKey&) const = default;
};

class UnprogrammedReason {
  FORMA_VALUE(Mpls::UnprogrammedReason, key, source, reason)
  FORMA_FIELD(UnprogrammedReasonKey, key)
  /// Who wrote the route.
  FORMA_FIELD(LFib::Source, source, LFib::lfibSourceUnknown_)
  FORMA_FIELD(LfibHwReason, reason, reasonNone_)
 public:
  constexpr UnprogrammedReason() = default;
  explicit constexpr UnprogrammedReason(UnprogrammedReasonKey key) : key_(key) {}
  constexpr UnprogrammedReason(UnprogrammedReasonKey key, LFib::Source source, LfibHwReason reason)
      : key_(key), source_(source), reason_(reason) {}
};

}  // namespace Mpls
