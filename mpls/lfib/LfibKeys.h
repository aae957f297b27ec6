/// What names the rows of the LFIB tables. Routes are named by Mpls::RouteKey.
///
/// Ordered by the fields as they stand here. Indexes are their producer's choice; the source in
/// each key keeps producers apart.
#pragma once

#include <compare>
#include <cstdint>

#include "mpls/lfib/LfibViaType.h"
#include "mpls/types/LFibSource.h"
#include "mpls/types/Namespace.h"
#include "platform/netbase/VlanId.h"

namespace Mpls {

/// One via. Its type says which table holds it.
class LfibViaKey {
  FORMA_VALUE(Mpls::LfibViaKey, source, viaType, index)
  FORMA_FIELD(LFib::Source, source, LFib::lfibSourceUnknown_)
  FORMA_FIELD(LfibViaType, viaType, viaTypeMplsUnknown_)
  FORMA_FIELD(std::uint32_t, index, 0)
 public:
  constexpr LfibViaKey() = default;
  constexpr LfibViaKey(LFib::Source source, LfibViaType viaType, std::uint32_t index)
      : source_(source), viaType_(viaType), index_(index) {}
  constexpr auto operator<=>(const LfibViaKey&) const = default;
};

/// One via set. Here the index stands before the type: the order is part of the text form and of
/// the rows in shared memory.
class LfibViaSetKey {
  FORMA_VALUE(Mpls::LfibViaSetKey, source, index, viaType)
  FORMA_FIELD(LFib::Source, source, LFib::lfibSourceUnknown_)
  FORMA_FIELD(std::uint32_t, index, 0)
  /// The type of all vias of the set.
  FORMA_FIELD(LfibViaType, viaType, viaTypeMplsUnknown_)
 public:
  constexpr LfibViaSetKey() = default;
  constexpr LfibViaSetKey(LFib::Source source, std::uint32_t index, LfibViaType viaType)
      : source_(source), index_(index), viaType_(viaType) {}
  constexpr auto operator<=>(const LfibViaSetKey&) const = default;
};

/// One map from 802.1Q tags to local VLANs.
class LfibDot1qTagToVlanKey {
  FORMA_VALUE(Mpls::LfibDot1qTagToVlanKey, source, index)
  FORMA_FIELD(LFib::Source, source, LFib::lfibSourceUnknown_)
  FORMA_FIELD(std::uint32_t, index, 0)
 public:
  constexpr LfibDot1qTagToVlanKey() = default;
  constexpr LfibDot1qTagToVlanKey(LFib::Source source, std::uint32_t index)
      : source_(source), index_(index) {}
  constexpr auto operator<=>(const LfibDot1qTagToVlanKey&) const = default;
};

/// One tag of one such map.
class LfibDot1qTagToVlanCompositeKey {
  FORMA_VALUE(Mpls::LfibDot1qTagToVlanCompositeKey, dot1qTagToVlanKey, dot1qTag)
  FORMA_FIELD(LfibDot1qTagToVlanKey, dot1qTagToVlanKey)
  /// The VLAN identifier in the tag.
  FORMA_FIELD(Netbase::VlanId, dot1qTag)
 public:
  constexpr LfibDot1qTagToVlanCompositeKey() = default;
  constexpr LfibDot1qTagToVlanCompositeKey(LfibDot1qTagToVlanKey dot1qTagToVlanKey,
                                           Netbase::VlanId dot1qTag)
      : dot1qTagToVlanKey_(dot1qTagToVlanKey), dot1qTag_(dot1qTag) {}
  constexpr auto operator<=>(const LfibDot1qTagToVlanCompositeKey&) const = default;
};

}  // namespace Mpls
