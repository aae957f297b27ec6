/// Whether LDP is ready on the links of a router, by VRF and interface: who routes over a link may
/// wait until its labels are known (RFC 5443).
///
/// The entities hold data only; the LDP agent fills them.
#pragma once

#include "ldp/Namespace.h"
#include "platform/forma/Declare.h"
#include "platform/netbase/IntfId.h"
#include "platform/netbase/VrfName.h"

namespace Ldp {

/// One interface; not ready at first.
class MPLS_EXPORT LdpLinkReadyStatus : public Forma::Entity {
  FORMA_ENTITY(Ldp::LdpLinkReadyStatus, Forma::Entity, ready)
  FORMA_NAMING_KEY(Netbase::IntfId, intfId)
  FORMA_ATTRIBUTE(bool, ready, onReady, false)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LdpLinkReadyStatus> {
   public:
    virtual void onReady() {}
  };
  using Notifiee = Forma::NotifieeMutable<LdpLinkReadyStatus, NotifieeConst>;

  explicit LdpLinkReadyStatus(Netbase::IntfId intfId) : intfId_(intfId) {}
  ~LdpLinkReadyStatus() override;
};

/// The interfaces of one VRF.
class MPLS_EXPORT LdpLinkReadyStatusColl : public Forma::NamedEntity {
  FORMA_ENTITY(Ldp::LdpLinkReadyStatusColl, Forma::NamedEntity, readyStatus)
  FORMA_NAMED_KEY(L3::VrfName, vrfName)
  /// In key order.
  FORMA_ORDERED_CHILDREN(Netbase::IntfId, LdpLinkReadyStatus, readyStatus, newReadyStatus,
                         onReadyStatus)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LdpLinkReadyStatusColl> {
   public:
    virtual void onReadyStatus(const Netbase::IntfId& /*intfId*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LdpLinkReadyStatusColl, NotifieeConst>;

  LdpLinkReadyStatusColl(Forma::Name name, L3::VrfName vrfName)
      : NamedEntity(std::move(name)), vrfName_(vrfName) {}
  /// Named after its VRF, as the collection makes it.
  explicit LdpLinkReadyStatusColl(L3::VrfName vrfName)
      : LdpLinkReadyStatusColl(Forma::Name(), vrfName) {}
  ~LdpLinkReadyStatusColl() override;
};

/// All VRFs.
class MPLS_EXPORT LdpLinkReadyStatusVrfColl : public Forma::NamedEntity {
  FORMA_ENTITY(Ldp::LdpLinkReadyStatusVrfColl, Forma::NamedEntity, readyStatusVrf)
  /// In key order.
  FORMA_ORDERED_CHILDREN(L3::VrfName, LdpLinkReadyStatusColl, readyStatusVrf, newReadyStatusVrf,
                         onReadyStatusVrf)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LdpLinkReadyStatusVrfColl> {
   public:
    virtual void onReadyStatusVrf(const L3::VrfName& /*vrfName*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LdpLinkReadyStatusVrfColl, NotifieeConst>;

  explicit LdpLinkReadyStatusVrfColl(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~LdpLinkReadyStatusVrfColl() override;
};

FORMA_FACTORY(ldpLinkReadyStatusFactory, LdpLinkReadyStatus, Netbase::IntfId)
FORMA_FACTORY(ldpLinkReadyStatusCollFactory, LdpLinkReadyStatusColl, Forma::Name, L3::VrfName)
FORMA_FACTORY(ldpLinkReadyStatusVrfCollFactory, LdpLinkReadyStatusVrfColl, Forma::Name)

}  // namespace Ldp
