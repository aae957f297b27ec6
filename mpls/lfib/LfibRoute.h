/// The row of one label-switched route.
#pragma once

#include "mpls/lfib/LfibKeys.h"
#include "mpls/types/FwdEqvClass.h"
#include "mpls/types/RouteKey.h"

namespace Mpls {

class LfibRoute {
  FORMA_VALUE(Mpls::LfibRoute, key, viaSetKey, source, fec)
  /// The incoming label and the metric.
  FORMA_FIELD(RouteKey, key)
  /// The via set that forwards it, which need not be there (yet, or any more).
  FORMA_FIELD(LfibViaSetKey, viaSetKey)
  /// Who wrote it.
  FORMA_FIELD(LFib::Source, source, LFib::lfibSourceUnknown_)
  /// The packets that it forwards; no prefix where its owner knows none.
  FORMA_FIELD(FwdEqvClass, fec)
 public:
  constexpr LfibRoute() = default;
  explicit constexpr LfibRoute(RouteKey key) : key_(key) {}
  constexpr LfibRoute(RouteKey key, LfibViaSetKey viaSetKey, LFib::Source source,
                      FwdEqvClass fec = {})
      : key_(key), viaSetKey_(viaSetKey), source_(source), fec_(fec) {}
};

}  // namespace Mpls
