/// LDP identifiers attached to a FEC, and the owners of interface addresses.
#pragma once

#include "ldp/LdpIdentifier.h"
#include "mpls/types/FwdEqvClass.h"
#include "platform/forma/Declare.h"
#include "platform/netbase/IpGenAddr.h"

namespace Ldp {

/// The identifiers attached to one FEC, such as the peers to which its binding was advertised.
class MPLS_EXPORT LdpIdentifierSet : public Forma::NamedEntity {
  FORMA_ENTITY(Ldp::LdpIdentifierSet, Forma::NamedEntity, identifier)
  FORMA_NAMED_KEY(Mpls::FwdEqvClass, fec)
  /// In key order; membership is what counts, the flag is stored as given.
  FORMA_ORDERED_VALUES(LdpIdentifier, bool, identifier, newIdentifier, onIdentifier)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LdpIdentifierSet> {
   public:
    virtual void onIdentifier(const LdpIdentifier& /*identifier*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LdpIdentifierSet, NotifieeConst>;

  LdpIdentifierSet(Forma::Name name, Mpls::FwdEqvClass fec)
      : NamedEntity(std::move(name)), fec_(fec) {}
  /// Named after its FEC, as a table makes it.
  explicit LdpIdentifierSet(Mpls::FwdEqvClass fec) : LdpIdentifierSet(Forma::Name(), fec) {}
  ~LdpIdentifierSet() override;
};

/// Which LDP router owns an interface address.
class MPLS_EXPORT LdpIdIntfIpMappingTable : public Forma::NamedEntity {
  FORMA_ENTITY(Ldp::LdpIdIntfIpMappingTable, Forma::NamedEntity, intfIpToLdpId)
  /// In key order.
  FORMA_ORDERED_VALUES(Netbase::IpGenAddr, LdpIdentifier, intfIpToLdpId, newIntfIpToLdpId,
                       onIntfIpToLdpId)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LdpIdIntfIpMappingTable> {
   public:
    virtual void onIntfIpToLdpId(const Netbase::IpGenAddr& /*address*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LdpIdIntfIpMappingTable, NotifieeConst>;

  explicit LdpIdIntfIpMappingTable(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~LdpIdIntfIpMappingTable() override;
};

FORMA_FACTORY(ldpIdentifierSetFactory, LdpIdentifierSet, Forma::Name, Mpls::FwdEqvClass)
FORMA_FACTORY(ldpIdIntfIpMappingTableFactory, LdpIdIntfIpMappingTable, Forma::Name)

}  // namespace Ldp
