/// The rows of vias of VLAN-aware EVPN bundles (RFC 7432, section 6.3): the packet's 802.1Q tag
/// chooses the VLAN.
#pragma once

#include "mpls/lfib/LfibKeys.h"
#include "mpls/types/LfibFlag.h"

namespace Mpls {

/// Bridges in the VLAN that a map gives for the tag.
class LfibEvpnVlanAwareVia {
  FORMA_VALUE(Mpls::LfibEvpnVlanAwareVia, key, dot1qTagToVlanKey, flag)
  /// Of type viaTypeEvpnVlanAware.
  FORMA_FIELD(LfibViaKey, key)
  /// The map.
  FORMA_FIELD(LfibDot1qTagToVlanKey, dot1qTagToVlanKey)
  FORMA_FIELD(LfibFlag, flag)
 public:
  constexpr LfibEvpnVlanAwareVia() = default;
  explicit constexpr LfibEvpnVlanAwareVia(LfibViaKey key) : key_(key) {}
  constexpr LfibEvpnVlanAwareVia(LfibViaKey key, LfibDot1qTagToVlanKey dot1qTagToVlanKey,
                                 LfibFlag flag)
      : key_(key), dot1qTagToVlanKey_(dot1qTagToVlanKey), flag_(flag) {}
};

/// Floods the VLAN that a map gives for the tag.
class LfibEvpnVlanAwareFloodVia {
  FORMA_VALUE(Mpls::LfibEvpnVlanAwareFloodVia, key, dot1qTagToVlanKey, flag)
  /// Of type viaTypeEvpnVlanAwareFlood.
  FORMA_FIELD(LfibViaKey, key)
  /// The map.
  FORMA_FIELD(LfibDot1qTagToVlanKey, dot1qTagToVlanKey)
  FORMA_FIELD(LfibFlag, flag)
 public:
  constexpr LfibEvpnVlanAwareFloodVia() = default;
  explicit constexpr LfibEvpnVlanAwareFloodVia(LfibViaKey key) : key_(key) {}
  constexpr LfibEvpnVlanAwareFloodVia(LfibViaKey key, LfibDot1qTagToVlanKey dot1qTagToVlanKey,
                                      LfibFlag flag)
      : key_(key), dot1qTagToVlanKey_(dot1qTagToVlanKey), flag_(flag) {}
};

}  // namespace Mpls
