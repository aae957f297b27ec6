/// The label bindings of LDP routers: for each FEC the labels bound to it, to whom the binding was
/// advertised, and whether a filter holds it back (RFC 5036). Walks go in key order.
///
/// The entities hold data only: the LDP agent fills its own, LdpLibProducerSm and LdpLibConsumerSm
/// carry them to other processes.
#pragma once

#include "ldp/LdpIdentifierSet.h"
#include "ldp/LdpLabelSource.h"
#include "mpls/types/FecFilteredState.h"
#include "platform/netbase/MplsLabel.h"

namespace Ldp {

/// The labels bound to one FEC.
class MPLS_EXPORT MplsLabelSet : public Forma::NamedEntity {
  FORMA_ENTITY(Ldp::MplsLabelSet, Forma::NamedEntity, labelSource, mplsLabel)
  FORMA_NAMED_KEY(Mpls::FwdEqvClass, fec)
  FORMA_ATTRIBUTE(LdpLabelSource, labelSource, onLabelSource, ldpLabelSourceUnknown_)
  /// A label is bound when its flag is true.
  FORMA_FEW_VALUES(Netbase::MplsLabel, bool, mplsLabel, newMplsLabel, onMplsLabel)

 public:
  class NotifieeConst : public Forma::NotifieeOf<MplsLabelSet> {
   public:
    virtual void onLabelSource() {}
    virtual void onMplsLabel(const Netbase::MplsLabel& /*label*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<MplsLabelSet, NotifieeConst>;

  MplsLabelSet(Forma::Name name, Mpls::FwdEqvClass fec) : NamedEntity(std::move(name)), fec_(fec) {}
  /// Named after its FEC, as a table makes it.
  explicit MplsLabelSet(Mpls::FwdEqvClass fec) : MplsLabelSet(Forma::Name(), fec) {}
  ~MplsLabelSet() override;
};

/// The bindings of one router.
class MPLS_EXPORT LabelBindingTable : public Forma::NamedEntity {
  FORMA_ENTITY(Ldp::LabelBindingTable, Forma::NamedEntity, mplsLabelSet, advertisedTo,
               fecFilteredState)
  /// The router; the key of a peer's table in LabelBindingTableColl.
  FORMA_NAMED_KEY(LdpIdentifier, ldpIdentifier)
  FORMA_ORDERED_CHILDREN(Mpls::FwdEqvClass, MplsLabelSet, mplsLabelSet, newMplsLabelSet,
                         onMplsLabelSet)
  /// The peers to which the binding of a FEC was advertised; used in the local table.
  FORMA_ORDERED_CHILDREN(Mpls::FwdEqvClass, LdpIdentifierSet, advertisedTo, newAdvertisedTo,
                         onAdvertisedTo)
  /// Only of FECs that have one.
  FORMA_ORDERED_VALUES(Mpls::FwdEqvClass, Mpls::FecFilteredState, fecFilteredState,
                       newFecFilteredState, onFecFilteredState)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LabelBindingTable> {
   public:
    virtual void onMplsLabelSet(const Mpls::FwdEqvClass& /*fec*/) {}
    virtual void onAdvertisedTo(const Mpls::FwdEqvClass& /*fec*/) {}
    virtual void onFecFilteredState(const Mpls::FwdEqvClass& /*fec*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LabelBindingTable, NotifieeConst>;

  LabelBindingTable(Forma::Name name, LdpIdentifier ldpIdentifier)
      : NamedEntity(std::move(name)), ldpIdentifier_(ldpIdentifier) {}
  /// Named after its router, as the collection makes it.
  explicit LabelBindingTable(LdpIdentifier ldpIdentifier)
      : LabelBindingTable(Forma::Name(), ldpIdentifier) {}
  ~LabelBindingTable() override;
};

/// The tables of the peers.
class MPLS_EXPORT LabelBindingTableColl : public Forma::NamedEntity {
  FORMA_ENTITY(Ldp::LabelBindingTableColl, Forma::NamedEntity, bindingTable)
  FORMA_ORDERED_CHILDREN(LdpIdentifier, LabelBindingTable, bindingTable, newBindingTable,
                         onBindingTable)

 public:
  class NotifieeConst : public Forma::NotifieeOf<LabelBindingTableColl> {
   public:
    virtual void onBindingTable(const LdpIdentifier& /*id*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<LabelBindingTableColl, NotifieeConst>;

  explicit LabelBindingTableColl(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~LabelBindingTableColl() override;
};

FORMA_FACTORY(mplsLabelSetFactory, MplsLabelSet, Forma::Name, Mpls::FwdEqvClass)
FORMA_FACTORY(labelBindingTableFactory, LabelBindingTable, Forma::Name, LdpIdentifier)
FORMA_FACTORY(labelBindingTableCollFactory, LabelBindingTableColl, Forma::Name)

}  // namespace Ldp
