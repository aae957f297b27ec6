/// What the forwarding agent reports about the hardware: its routes and the next hops that they
/// came down to.
#pragma once

#include <compare>
#include <cstdint>

#include "mpls/types/AdjacencyKey.h"
#include "mpls/types/Namespace.h"
#include "mpls/types/PayloadType.h"
#include "mpls/types/TtlMode.h"
#include "platform/netbase/EthAddr.h"
#include "platform/netbase/IntfId.h"
#include "platform/netbase/IpGenAddr.h"
#include "platform/netbase/IpGenPrefix.h"
#include "platform/netbase/MplsLabel.h"
#include "platform/netbase/MplsLabelAction.h"
#include "platform/netbase/VlanId.h"

namespace Mpls::Hardware {

class AdjacencyBaseKey {
  FORMA_VALUE(Mpls::Hardware::AdjacencyBaseKey, index, adjType)
  FORMA_FIELD(std::uint64_t, index, 0)
  FORMA_FIELD(AdjacencyType, adjType, mplsUnknown_)
 public:
  constexpr AdjacencyBaseKey() = default;
  constexpr AdjacencyBaseKey(std::uint64_t index, AdjacencyType adjType)
      : index_(index), adjType_(adjType) {}
};

class Route {
  FORMA_VALUE(Mpls::Hardware::Route, label, adjBaseKey, unprogrammed)
  FORMA_FIELD(Netbase::MplsLabel, label)
  FORMA_FIELD(AdjacencyBaseKey, adjBaseKey)
  /// The hardware has not taken the route.
  FORMA_FIELD(bool, unprogrammed, false)
 public:
  constexpr Route() = default;
  constexpr Route(Netbase::MplsLabel label, AdjacencyBaseKey adjBaseKey, bool unprogrammed)
      : label_(label), adjBaseKey_(adjBaseKey), unprogrammed_(unprogrammed) {}
};

/// The part of a next hop that is written into the frame.
class L2Via {
  FORMA_VALUE(Mpls::Hardware::L2Via, labelAction, outLabel, payloadType, ttlMode, vlanId, l2Intf,
              macAddr, skipEgressAcl)
  FORMA_FIELD(Netbase::MplsLabelAction, labelAction, Netbase::undefinedLabelAction_)
  FORMA_FIELD(Netbase::MplsLabel, outLabel)
  FORMA_FIELD(PayloadType, payloadType, undefinedPayload_)
  FORMA_FIELD(TtlMode, ttlMode, undefinedTtlMode_)
  FORMA_FIELD(Netbase::VlanId, vlanId)
  /// The port that the frame leaves by.
  FORMA_FIELD(Netbase::IntfId, l2Intf)
  /// The address of the neighbour.
  FORMA_FIELD(Netbase::EthAddr, macAddr)
  FORMA_FIELD(bool, skipEgressAcl, false)
 public:
  constexpr L2Via() = default;
  constexpr L2Via(Netbase::MplsLabelAction labelAction, Netbase::MplsLabel outLabel,
                  PayloadType payloadType, TtlMode ttlMode, Netbase::VlanId vlanId,
                  Netbase::IntfId l2Intf, Netbase::EthAddr macAddr, bool skipEgressAcl)
      : labelAction_(labelAction),
        outLabel_(outLabel),
        payloadType_(payloadType),
        ttlMode_(ttlMode),
        vlanId_(vlanId),
        l2Intf_(l2Intf),
        macAddr_(macAddr),
        skipEgressAcl_(skipEgressAcl) {}
  constexpr auto operator<=>(const L2Via&) const = default;
};

/// A next hop with what it was resolved through.
class Via {
  FORMA_VALUE(Mpls::Hardware::Via, recursiveNextHop, resolvedNextHop, route, l3Intf, l2Via)
  /// The next hop as the route names it.
  FORMA_FIELD(Netbase::IpGenAddr, recursiveNextHop)
  /// The neighbour by which it is reached.
  FORMA_FIELD(Netbase::IpGenAddr, resolvedNextHop)
  /// The route by which it is reached.
  FORMA_FIELD(Netbase::IpGenPrefix, route)
  FORMA_FIELD(Netbase::IntfId, l3Intf)
  FORMA_FIELD(L2Via, l2Via)
 public:
  constexpr Via() = default;
  constexpr Via(Netbase::IpGenAddr recursiveNextHop, Netbase::IpGenAddr resolvedNextHop,
                Netbase::IpGenPrefix route, Netbase::IntfId l3Intf, L2Via l2Via)
      : recursiveNextHop_(recursiveNextHop),
        resolvedNextHop_(resolvedNextHop),
        route_(route),
        l3Intf_(l3Intf),
        l2Via_(l2Via) {}
};

}  // namespace Mpls::Hardware
