/// The label forwarding information base: the routes of this switch by label, in tables that other
/// processes read without asking anybody (docs/lfib.md).
///
/// A route names a via set, a via set up to 128 vias, and the type in a via's key the table that
/// holds it. Nothing counts references: a row that is named may not be there.
#pragma once

#include "mpls/lfib/LfibDot1qTagToVlan.h"
#include "mpls/lfib/LfibEvpnEthernetSegmentFilterVia.h"
#include "mpls/lfib/LfibEvpnVlanAwareVia.h"
#include "mpls/lfib/LfibIpLookupVia.h"
#include "mpls/lfib/LfibMplsVia.h"
#include "mpls/lfib/LfibPwVia.h"
#include "mpls/lfib/LfibRoute.h"
#include "mpls/lfib/LfibViaSet.h"
#include "mpls/lfib/LfibVlanVia.h"
#include "platform/tarn/FormaTarnMap.h"

namespace Mpls {

/// Written by one process; several sources may share it, their keys keep them apart.
///
/// Each table checks its rows in the process that writes them, after a write and after the removal
/// of a row that was there, before anybody is notified. What a check refuses raises
/// InternalException; the row stays written, or removed, and nobody is notified.
///
/// Thread    that of the entity.
class MPLS_EXPORT LfibStatus : public Forma::NamedEntity {
  FORMA_ENTITY(Mpls::LfibStatus, Forma::NamedEntity, lfibRoute, viaSet, mplsVia, pwVia, ipLookupVia,
               vlanVia, evpnVlanAwareVia, evpnEthernetSegmentFilterVia, evpnVlanFloodVia,
               evpnVlanAwareFloodVia, dot1qTagToVlanComposite, dot1qTagToVlanColl)
  FORMA_TABLE(RouteKey, LfibRoute, lfibRoute, newLfibRoute, onLfibRoute, handleRoute)
  FORMA_TABLE(LfibViaSetKey, LfibViaSet, viaSet, newViaSet, onViaSet, handleViaSet)
  FORMA_TABLE(LfibViaKey, LfibMplsVia, mplsVia, newMplsVia, onMplsVia, verifyViaTypeMplsIp)
  FORMA_TABLE(LfibViaKey, LfibPwVia, pwVia, newPwVia, onPwVia, verifyViaTypeMplsPseudowire)
  FORMA_TABLE(LfibViaKey, LfibIpLookupVia, ipLookupVia, newIpLookupVia, onIpLookupVia,
              verifyViaTypeIpLookup)
  FORMA_TABLE(LfibViaKey, LfibVlanVia, vlanVia, newVlanVia, onVlanVia, verifyViaTypeVlan)
  FORMA_TABLE(LfibViaKey, LfibEvpnVlanAwareVia, evpnVlanAwareVia, newEvpnVlanAwareVia,
              onEvpnVlanAwareVia, verifyViaTypeEvpnVlanAware)
  FORMA_TABLE(LfibViaKey, LfibEvpnEthernetSegmentFilterVia, evpnEthernetSegmentFilterVia,
              newEvpnEthernetSegmentFilterVia, onEvpnEthernetSegmentFilterVia,
              verifyViaTypeEvpnEthernetSegment)
  FORMA_TABLE(LfibViaKey, LfibEvpnVlanFloodVia, evpnVlanFloodVia, newEvpnVlanFloodVia,
              onEvpnVlanFloodVia, verifyViaTypeEvpnVlanFlood)
  FORMA_TABLE(LfibViaKey, LfibEvpnVlanAwareFloodVia, evpnVlanAwareFloodVia,
              newEvpnVlanAwareFloodVia, onEvpnVlanAwareFloodVia, verifyViaTypeEvpnVlanAwareFlood)
  /// One row for each tag of each map in `dot1qTagToVlanColl`.
  FORMA_TABLE(LfibDot1qTagToVlanCompositeKey, LfibDot1qTagToVlanComposite, dot1qTagToVlanComposite,
              newDot1qTagToVlanComposite, onDot1qTagToVlanComposite)
  /// The maps from 802.1Q tags to VLANs. No table: processes know their own.
  FORMA_CHILDREN(LfibDot1qTagToVlanKey, LfibDot1qTagToVlan, dot1qTagToVlanColl,
                 newDot1qTagToVlanColl, onDot1qTagToVlanColl)

 public:
  /// Each table notifies of the keys whose rows came, went or were written, and, with no key, of
  /// itself as a whole when somebody asks for that.
  class NotifieeConst : public Forma::NotifieeOf<LfibStatus> {
   public:
    virtual void onLfibRoute(const RouteKey& /*key*/) {}
    virtual void onLfibRoute() {}
    virtual void onViaSet(const LfibViaSetKey& /*key*/) {}
    virtual void onViaSet() {}
    virtual void onMplsVia(const LfibViaKey& /*key*/) {}
    virtual void onMplsVia() {}
    virtual void onPwVia(const LfibViaKey& /*key*/) {}
    virtual void onPwVia() {}
    virtual void onIpLookupVia(const LfibViaKey& /*key*/) {}
    virtual void onIpLookupVia() {}
    virtual void onVlanVia(const LfibViaKey& /*key*/) {}
    virtual void onVlanVia() {}
    virtual void onEvpnVlanAwareVia(const LfibViaKey& /*key*/) {}
    virtual void onEvpnVlanAwareVia() {}
    virtual void onEvpnEthernetSegmentFilterVia(const LfibViaKey& /*key*/) {}
    virtual void onEvpnEthernetSegmentFilterVia() {}
    virtual void onEvpnVlanFloodVia(const LfibViaKey& /*key*/) {}
    virtual void onEvpnVlanFloodVia() {}
    virtual void onEvpnVlanAwareFloodVia(const LfibViaKey& /*key*/) {}
    virtual void onEvpnVlanAwareFloodVia() {}
    virtual void onDot1qTagToVlanComposite(const LfibDot1qTagToVlanCompositeKey& /*key*/) {}
    virtual void onDot1qTagToVlanComposite() {}
    /// The map at `key` came, went or was replaced.
    virtual void onDot1qTagToVlanColl(const LfibDot1qTagToVlanKey& /*key*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LfibStatus, NotifieeConst>;

  explicit LfibStatus(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~LfibStatus() override;

  /// Files a map that was made elsewhere (lfibDot1qTagToVlanFactory) under its key, in place of the
  /// one there, which loses its parent. Always notifies. Beside it there is
  /// dot1qTagToVlanCollIs(key), which gets or creates.
  void dot1qTagToVlanCollIs(Forma::Ptr<LfibDot1qTagToVlan> map);
  void newDot1qTagToVlanColl(Forma::Ptr<LfibDot1qTagToVlan> map) {
    dot1qTagToVlanCollIs(std::move(map));
  }

  /// Whether via sets of that type hold one via at most: the EVPN types, the IP lookup and VLANs.
  /// Their routes have the metric 0.
  static constexpr bool isEvpnViaType(LfibViaType type) {
    return type >= viaTypeIpLookup_ && type <= viaTypeEvpnVlanAwareFlood_;
  }

  // ---- The checks of the tables; they raise InternalException -----------------------------------

  /// A route of an EVPN type has the metric 0.
  void handleRoute(const RouteKey& key) const;
  /// All vias of a set are of its type, and of an EVPN type there is one at most.
  void handleViaSet(const LfibViaSetKey& key) const;
  /// A via is of its table's type.
  void verifyViaTypeMplsIp(const LfibViaKey& key) const;
  void verifyViaTypeMplsPseudowire(const LfibViaKey& key) const;
  void verifyViaTypeIpLookup(const LfibViaKey& key) const;
  void verifyViaTypeVlan(const LfibViaKey& key) const;
  void verifyViaTypeEvpnVlanAware(const LfibViaKey& key) const;
  void verifyViaTypeEvpnEthernetSegment(const LfibViaKey& key) const;
  void verifyViaTypeEvpnVlanFlood(const LfibViaKey& key) const;
  void verifyViaTypeEvpnVlanAwareFlood(const LfibViaKey& key) const;
};

FORMA_FACTORY(lfibStatusFactory, LfibStatus, Forma::Name)

}  // namespace Mpls
