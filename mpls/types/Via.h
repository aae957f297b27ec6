/// One next hop of an MPLS route, and the label operation on the way out.
#pragma once

#include <compare>
#include <cstdint>
#include <utility>

#include "mpls/types/Namespace.h"
#include "mpls/types/PayloadType.h"
#include "mpls/types/TtlMode.h"
#include "platform/netbase/IntfId.h"
#include "platform/netbase/IpGenAddr.h"
#include "platform/netbase/MplsLabel.h"
#include "platform/netbase/MplsLabelAction.h"

namespace Mpls {

/// 64 bytes, one cache line: routes are compared and sorted by their vias. Vias that differ in any
/// field, the weight included, are different vias. Ordered by the fields as they stand here.
class Via {
  FORMA_VALUE(Mpls::Via, nextHop, nexthopGroup, labelAction, outLabel, intf, payloadType,
              skipEgressAcl, ttlMode, weight)
  FORMA_FIELD(Netbase::IpGenAddr, nextHop)
  /// The next-hop group that the via points to; empty when it points to an address.
  FORMA_FIELD(Forma::String8, nexthopGroup)
  FORMA_FIELD(Netbase::MplsLabelAction, labelAction, Netbase::undefinedLabelAction_)
  /// The label that is pushed or swapped in.
  FORMA_FIELD(Netbase::MplsLabel, outLabel)
  /// The interface to leave by; empty when the next hop decides it.
  FORMA_FIELD(Netbase::IntfId, intf)
  FORMA_FIELD(PayloadType, payloadType, undefinedPayload_)
  FORMA_FIELD(bool, skipEgressAcl, false)
  FORMA_FIELD(TtlMode, ttlMode, undefinedTtlMode_)
  /// The share of the traffic among the vias of a set.
  FORMA_FIELD(std::uint32_t, weight, 1)
 public:
  Via() = default;
  Via(Netbase::IpGenAddr nextHop, Netbase::MplsLabelAction labelAction, Netbase::MplsLabel outLabel,
      bool skipEgressAcl)
      : nextHop_(nextHop),
        labelAction_(labelAction),
        outLabel_(outLabel),
        skipEgressAcl_(skipEgressAcl) {}
  Via(Netbase::IpGenAddr nextHop, Forma::String8 nexthopGroup, Netbase::MplsLabelAction labelAction,
      Netbase::MplsLabel outLabel, Netbase::IntfId intf, PayloadType payloadType,
      bool skipEgressAcl, TtlMode ttlMode, std::uint32_t weight)
      : nextHop_(nextHop),
        nexthopGroup_(std::move(nexthopGroup)),
        labelAction_(labelAction),
        outLabel_(outLabel),
        intf_(intf),
        payloadType_(payloadType),
        skipEgressAcl_(skipEgressAcl),
        ttlMode_(ttlMode),
        weight_(weight) {}
  auto operator<=>(const Via&) const = default;
};

}  // namespace Mpls
