/// The kinds of vias, and of via sets. The number is part of the keys in shared memory.
#pragma once

#include <cstdint>

#include "mpls/types/Namespace.h"

namespace Mpls {

/// Each kind has a table of LfibStatus, but for the unknown one and next-hop groups.
enum LfibViaType : std::uint32_t {
  viaTypeMplsUnknown_ = 0,
  viaTypeMplsIp_ = 1,               ///< mplsVia
  viaTypeMplsPseudowire_ = 2,       ///< pwVia
  viaTypeIpLookup_ = 3,             ///< ipLookupVia
  viaTypeVlan_ = 4,                 ///< vlanVia
  viaTypeEvpnVlanAware_ = 5,        ///< evpnVlanAwareVia
  viaTypeEvpnEthernetSegment_ = 6,  ///< evpnEthernetSegmentFilterVia
  viaTypeEvpnVlanFlood_ = 7,        ///< evpnVlanFloodVia
  viaTypeEvpnVlanAwareFlood_ = 8,   ///< evpnVlanAwareFloodVia
  viaTypeNexthopGroup_ = 9,
  viaTypeMax_ = 10,  ///< the number of kinds; never one itself
};
FORMA_ENUM(Mpls, LfibViaType, viaTypeMplsUnknown, viaTypeMplsIp, viaTypeMplsPseudowire,
           viaTypeIpLookup, viaTypeVlan, viaTypeEvpnVlanAware, viaTypeEvpnEthernetSegment,
           viaTypeEvpnVlanFlood, viaTypeEvpnVlanAwareFlood, viaTypeNexthopGroup, viaTypeMax)

}  // namespace Mpls
