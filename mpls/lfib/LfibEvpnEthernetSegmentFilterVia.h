/// The row of a via for split horizon (RFC 7432, section 8.3).
#pragma once

#include "mpls/lfib/LfibKeys.h"
#include "platform/netbase/IntfId.h"

namespace Mpls {

/// Flooded packets whose label leads here came from an Ethernet segment that this switch is
/// attached to; they do not go back to it.
class LfibEvpnEthernetSegmentFilterVia {
  FORMA_VALUE(Mpls::LfibEvpnEthernetSegmentFilterVia, key, intfId)
  /// Of type viaTypeEvpnEthernetSegment.
  FORMA_FIELD(LfibViaKey, key)
  /// The interface to the segment.
  FORMA_FIELD(Netbase::IntfId, intfId)
 public:
  constexpr LfibEvpnEthernetSegmentFilterVia() = default;
  explicit constexpr LfibEvpnEthernetSegmentFilterVia(LfibViaKey key) : key_(key) {}
  constexpr LfibEvpnEthernetSegmentFilterVia(LfibViaKey key, Netbase::IntfId intfId)
      : key_(key), intfId_(intfId) {}
};

}  // namespace Mpls
