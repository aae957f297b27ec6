/// A route of the LFIB as status entities hold it.
#pragma once

#include <compare>
#include <cstdint>

#include "mpls/types/AdjacencyKey.h"
#include "mpls/types/LFibSource.h"
#include "mpls/types/RouteKey.h"

namespace Mpls {

/// The number by which the FIB knows a forwarding equivalence class; 0 is none. Its text is the
/// number alone, and a number converts to it.
class FecId {
  FORMA_VALUE(Mpls::FecId, value)
  FORMA_FIELD(std::uint64_t, value, 0)
 public:
  constexpr FecId() = default;
  constexpr FecId(std::uint64_t value) : value_(value) {}
  constexpr auto operator<=>(const FecId&) const = default;
};

namespace LFib {

class Route {
  FORMA_VALUE(Mpls::LFib::Route, routeKey, adjKey, source, fec)
  FORMA_FIELD(RouteKey, routeKey)
  FORMA_FIELD(AdjacencyKey, adjKey)
  FORMA_FIELD(Source, source, lfibSourceUnknown_)
  FORMA_FIELD(FecId, fec)
 public:
  constexpr Route() = default;
  constexpr Route(RouteKey routeKey, AdjacencyKey adjKey, Source source, FecId fec)
      : routeKey_(routeKey), adjKey_(adjKey), source_(source), fec_(fec) {}
};

}  // namespace LFib
}  // namespace Mpls
