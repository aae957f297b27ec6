/// The rows of vias that hand packets to a VLAN.
#pragma once

#include "mpls/lfib/LfibKeys.h"
#include "mpls/types/LfibFlag.h"
#include "platform/netbase/VlanId.h"

namespace Mpls {

/// Bridges in one VLAN.
class LfibVlanVia {
  FORMA_VALUE(Mpls::LfibVlanVia, key, vlanId, flag)
  /// Of type viaTypeVlan.
  FORMA_FIELD(LfibViaKey, key)
  FORMA_FIELD(Netbase::VlanId, vlanId)
  FORMA_FIELD(LfibFlag, flag)
 public:
  constexpr LfibVlanVia() = default;
  explicit constexpr LfibVlanVia(LfibViaKey key) : key_(key) {}
  constexpr LfibVlanVia(LfibViaKey key, Netbase::VlanId vlanId, LfibFlag flag)
      : key_(key), vlanId_(vlanId), flag_(flag) {}
};

/// Floods one VLAN: broadcast, unknown unicast and multicast of EVPN (RFC 7432).
class LfibEvpnVlanFloodVia {
  FORMA_VALUE(Mpls::LfibEvpnVlanFloodVia, key, vlanId, flag)
  /// Of type viaTypeEvpnVlanFlood.
  FORMA_FIELD(LfibViaKey, key)
  FORMA_FIELD(Netbase::VlanId, vlanId)
  FORMA_FIELD(LfibFlag, flag)
 public:
  constexpr LfibEvpnVlanFloodVia() = default;
  explicit constexpr LfibEvpnVlanFloodVia(LfibViaKey key) : key_(key) {}
  constexpr LfibEvpnVlanFloodVia(LfibViaKey key, Netbase::VlanId vlanId, LfibFlag flag)
      : key_(key), vlanId_(vlanId), flag_(flag) {}
};

}  // namespace Mpls
