/// Maps from 802.1Q tags to local VLANs, as entities of one process and as rows that others read.
#pragma once

#include "mpls/lfib/LfibKeys.h"
#include "platform/forma/Declare.h"
#include "platform/netbase/VlanId.h"

namespace Mpls {

/// One tag of one map.
class LfibDot1qTagToVlanComposite {
  FORMA_VALUE(Mpls::LfibDot1qTagToVlanComposite, key, localVlan)
  FORMA_FIELD(LfibDot1qTagToVlanCompositeKey, key)
  FORMA_FIELD(Netbase::VlanId, localVlan)
 public:
  constexpr LfibDot1qTagToVlanComposite() = default;
  explicit constexpr LfibDot1qTagToVlanComposite(LfibDot1qTagToVlanCompositeKey key) : key_(key) {}
  constexpr LfibDot1qTagToVlanComposite(LfibDot1qTagToVlanCompositeKey key,
                                        Netbase::VlanId localVlan)
      : key_(key), localVlan_(localVlan) {}
};

/// One map.
class MPLS_EXPORT LfibDot1qTagToVlan : public Forma::Entity {
  FORMA_ENTITY(Mpls::LfibDot1qTagToVlan, Forma::Entity, dot1qTagToVlanId)
  FORMA_NAMING_KEY(LfibDot1qTagToVlanKey, key)
  /// The local VLAN by tag.
  FORMA_VALUES(Netbase::VlanId, Netbase::VlanId, dot1qTagToVlanId, newDot1qTagToVlanId,
               onDot1qTagToVlanId)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LfibDot1qTagToVlan> {
   public:
    virtual void onDot1qTagToVlanId(const Netbase::VlanId& /*tag*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LfibDot1qTagToVlan, NotifieeConst>;

  explicit LfibDot1qTagToVlan(LfibDot1qTagToVlanKey key) : key_(key) {}
  ~LfibDot1qTagToVlan() override;
};

FORMA_FACTORY(lfibDot1qTagToVlanFactory, LfibDot1qTagToVlan, LfibDot1qTagToVlanKey)

}  // namespace Mpls
