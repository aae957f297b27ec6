/// The rows of IP routes as a protocol gives them to the FIB: routes of one address family, each
/// with its next hops and the labels that these put on packets (RFC 8660, section 2.6).
///
/// All that an installer of push routes needs stands in the row: no other table is asked.
#pragma once

#include <cstdint>
#include <span>

#include "mpls/types/LabelStack.h"
#include "platform/forma/BoundedArray.h"
#include "platform/netbase/IntfId.h"
#include "platform/netbase/IpGenAddr.h"
#include "platform/netbase/Prefix.h"

namespace Tarn::Fib {

FORMA_TEXT_FUNCTIONS

/// The places of the vias in a route, 0 to 31.
FORMA_INDEX_RANGE(ViaIndexRange, 31)

/// One next hop.
class Via {
  FORMA_VALUE(Tarn::Fib::Via, nextHop, intf, labelStack, weight)
  /// May be of the other family than the route (RFC 8950); none when the interface decides.
  FORMA_FIELD(Netbase::IpGenAddr, nextHop)
  /// Empty when the next hop decides.
  FORMA_FIELD(Netbase::IntfId, intf)
  /// What is pushed; empty for plain IP.
  FORMA_FIELD(Mpls::LabelStack, labelStack)
  /// The share of the traffic among the vias of a route.
  FORMA_FIELD(std::uint32_t, weight, 1)
 public:
  constexpr Via() = default;
  constexpr Via(const Netbase::IpGenAddr& nextHop, const Netbase::IntfId& intf,
                const Mpls::LabelStack& labelStack)
      : nextHop_(nextHop), intf_(intf), labelStack_(labelStack) {}
};

/// A route to an IPv4 prefix; at most 32 vias. Stored as far as they go: 12 bytes, and 86 for each
/// via.
class Route {
  FORMA_VALUE(Tarn::Fib::Route, key, preference, metric, via)
  FORMA_FIELD(Netbase::Prefix, key)
  /// Among protocols that have a route to the same prefix the smallest wins; 0 is that of a
  /// connected network.
  FORMA_FIELD(std::uint8_t, preference, 0)
  /// The protocol's own cost of the path; shown to people, compared within the protocol only.
  FORMA_FIELD(std::uint32_t, metric, 0)
  FORMA_ARRAY_FIELD(Via, ViaIndexRange, via)
 public:
  Route() = default;
  explicit Route(const Netbase::Prefix& key) : key_(key) {}
  /// Raises RangeException for more than 32 vias.
  Route(const Netbase::Prefix& key, std::uint8_t preference, std::uint32_t metric,
        std::span<const Via> vias)
      : key_(key), preference_(preference), metric_(metric) {
    viaIs(vias);
  }
};

}  // namespace Tarn::Fib

namespace Tarn::Fib6 {

FORMA_TEXT_FUNCTIONS

/// A route to an IPv6 prefix; all else as Tarn::Fib::Route.
class Route {
  FORMA_VALUE(Tarn::Fib6::Route, key, preference, metric, via)
  FORMA_FIELD(Netbase::Ip6Prefix, key)
  FORMA_FIELD(std::uint8_t, preference, 0)
  FORMA_FIELD(std::uint32_t, metric, 0)
  FORMA_ARRAY_FIELD(Fib::Via, Fib::ViaIndexRange, via)
 public:
  Route() = default;
  explicit Route(const Netbase::Ip6Prefix& key) : key_(key) {}
  Route(const Netbase::Ip6Prefix& key, std::uint8_t preference, std::uint32_t metric,
        std::span<const Fib::Via> vias)
      : key_(key), preference_(preference), metric_(metric) {
    viaIs(vias);
  }
};

}  // namespace Tarn::Fib6
