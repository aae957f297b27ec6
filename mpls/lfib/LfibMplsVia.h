/// The row of a next hop that takes MPLS or IP packets.
#pragma once

#include <cstdint>

#include "mpls/lfib/LfibKeys.h"
#include "mpls/types/LabelStack.h"
#include "mpls/types/PayloadType.h"
#include "mpls/types/TtlMode.h"
#include "platform/netbase/IntfId.h"
#include "platform/netbase/IpGenAddr.h"
#include "platform/netbase/MplsLabelAction.h"

namespace Mpls {

class LfibMplsVia {
  FORMA_VALUE(Mpls::LfibMplsVia, key, nextHop, labelAction, labelStack, intf, payloadType,
              skipEgressAcl, ttlMode, weight)
  /// Of type viaTypeMplsIp.
  FORMA_FIELD(LfibViaKey, key)
  FORMA_FIELD(Netbase::IpGenAddr, nextHop)
  FORMA_FIELD(Netbase::MplsLabelAction, labelAction, Netbase::undefinedLabelAction_)
  /// What is pushed or swapped in.
  FORMA_FIELD(LabelStack, labelStack)
  /// The interface to leave by; empty when the next hop decides it.
  FORMA_FIELD(Netbase::IntfId, intf)
  FORMA_FIELD(PayloadType, payloadType, undefinedPayload_)
  FORMA_FIELD(bool, skipEgressAcl, false)
  FORMA_FIELD(TtlMode, ttlMode, undefinedTtlMode_)
  /// The share of the traffic among the vias of a set.
  FORMA_FIELD(std::uint32_t, weight, 1)
 public:
  constexpr LfibMplsVia() = default;
  explicit constexpr LfibMplsVia(LfibViaKey key) : key_(key) {}
  /// From the whole text; raises ParseException or RangeException.
  MPLS_EXPORT explicit LfibMplsVia(const Forma::String8& text);
  constexpr LfibMplsVia(LfibViaKey key, Netbase::IpGenAddr nextHop,
                        Netbase::MplsLabelAction labelAction, LabelStack labelStack,
                        bool skipEgressAcl)
      : key_(key),
        nextHop_(nextHop),
        labelAction_(labelAction),
        labelStack_(labelStack),
        skipEgressAcl_(skipEgressAcl) {}
};

}  // namespace Mpls
