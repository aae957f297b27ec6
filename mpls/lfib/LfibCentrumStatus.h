/// A view of the vias that stand for one label each, for those who debug an LFIB: in the central
/// database, where tools find it without mapping the tables.
///
/// Nobody's input: what forwards reads the tables (LfibStatus).
#pragma once

#include "mpls/types/LfibFlag.h"
#include "mpls/types/Namespace.h"
#include "platform/forma/Declare.h"
#include "platform/netbase/AddressFamily.h"
#include "platform/netbase/IntfId.h"
#include "platform/netbase/MplsLabel.h"
#include "platform/netbase/VlanId.h"
#include "platform/netbase/VrfName.h"

namespace Mpls {

/// Packets are looked up by their IP address in a VRF.
class LfibCentrumIpLookupVia {
  FORMA_VALUE(Mpls::LfibCentrumIpLookupVia, label, vrfName, af)
  FORMA_FIELD(Netbase::MplsLabel, label)
  /// Empty for the default VRF.
  FORMA_FIELD(L3::VrfName, vrfName)
  FORMA_FIELD(Netbase::AddressFamily, af, Netbase::afUnknown_)
 public:
  constexpr LfibCentrumIpLookupVia() = default;
  constexpr LfibCentrumIpLookupVia(Netbase::MplsLabel label, L3::VrfName vrfName,
                                   Netbase::AddressFamily af)
      : label_(label), vrfName_(vrfName), af_(af) {}
};

/// Packets are bridged in a VLAN.
class LfibCentrumVlanVia {
  FORMA_VALUE(Mpls::LfibCentrumVlanVia, label, vlanId, flag)
  FORMA_FIELD(Netbase::MplsLabel, label)
  FORMA_FIELD(Netbase::VlanId, vlanId)
  FORMA_FIELD(LfibFlag, flag)
 public:
  constexpr LfibCentrumVlanVia() = default;
  constexpr LfibCentrumVlanVia(Netbase::MplsLabel label, Netbase::VlanId vlanId, LfibFlag flag)
      : label_(label), vlanId_(vlanId), flag_(flag) {}
};

/// Packets are flooded in a VLAN.
class LfibCentrumVlanFloodVia {
  FORMA_VALUE(Mpls::LfibCentrumVlanFloodVia, label, vlanId, flag)
  FORMA_FIELD(Netbase::MplsLabel, label)
  FORMA_FIELD(Netbase::VlanId, vlanId)
  FORMA_FIELD(LfibFlag, flag)
 public:
  constexpr LfibCentrumVlanFloodVia() = default;
  constexpr LfibCentrumVlanFloodVia(Netbase::MplsLabel label, Netbase::VlanId vlanId, LfibFlag flag)
      : label_(label), vlanId_(vlanId), flag_(flag) {}
};

/// Flooded packets came from an Ethernet segment; they do not go back to it.
class LfibCentrumEthernetSegmentFilterVia {
  FORMA_VALUE(Mpls::LfibCentrumEthernetSegmentFilterVia, label, intfId)
  FORMA_FIELD(Netbase::MplsLabel, label)
  /// The interface to the segment.
  FORMA_FIELD(Netbase::IntfId, intfId)
 public:
  constexpr LfibCentrumEthernetSegmentFilterVia() = default;
  constexpr LfibCentrumEthernetSegmentFilterVia(Netbase::MplsLabel label, Netbase::IntfId intfId)
      : label_(label), intfId_(intfId) {}
};

/// All of them, by label.
class MPLS_EXPORT LfibCentrumStatus : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::LfibCentrumStatus, Forma::NamedEntity, ipLookupVia, vlanVia, vlanFloodVia,
               ethernetSegmentFilterVia)
  FORMA_KEYED_VALUES(Netbase::MplsLabel, LfibCentrumIpLookupVia, label, ipLookupVia, newIpLookupVia,
                     onIpLookupVia)
  FORMA_KEYED_VALUES(Netbase::MplsLabel, LfibCentrumVlanVia, label, vlanVia, newVlanVia, onVlanVia)
  FORMA_KEYED_VALUES(Netbase::MplsLabel, LfibCentrumVlanFloodVia, label, vlanFloodVia,
                     newVlanFloodVia, onVlanFloodVia)
  FORMA_KEYED_VALUES(Netbase::MplsLabel, LfibCentrumEthernetSegmentFilterVia, label,
                     ethernetSegmentFilterVia, newEthernetSegmentFilterVia,
                     onEthernetSegmentFilterVia)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LfibCentrumStatus> {
   public:
    virtual void onIpLookupVia(const Netbase::MplsLabel& /*label*/) {}
    virtual void onVlanVia(const Netbase::MplsLabel& /*label*/) {}
    virtual void onVlanFloodVia(const Netbase::MplsLabel& /*label*/) {}
    virtual void onEthernetSegmentFilterVia(const Netbase::MplsLabel& /*label*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LfibCentrumStatus, NotifieeConst>;

  explicit LfibCentrumStatus(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~LfibCentrumStatus() override;
};

FORMA_FACTORY(lfibCentrumStatusFactory, LfibCentrumStatus, Forma::Name)

}  // namespace Mpls
