/// The label bindings of an LDP router, in tables that other processes read without asking anybody
/// (docs/ldp.md): its own labels, to whom they were advertised, those of its peers, and the
/// filters.
///
/// LdpLibProducerSm writes them from the router's Ldp::LabelBindingTable entities, LdpLibConsumerSm
/// makes the same entities of them.
#pragma once

#include "ldp/LdpTarnRows.h"
#include "platform/tarn/FormaTarnMap.h"

namespace Ldp::LdpTarn {

/// Written by one process, the LDP agent. There is no table per peer: keys tell peers apart.
///
/// Thread    that of the entity.
class MPLS_EXPORT LdpLabelBindingTable : public Forma::NamedEntity {
  FORMA_ENTITY(Ldp::LdpTarn::LdpLabelBindingTable, Forma::NamedEntity, localLbt,
               localLbtAdvertisedTo, localLbtFilterState, peerLbt, peerLbtFilterState)
  FORMA_TABLE(LdpLocalLbtKey, LdpLocalLbt, localLbt, newLocalLbt, onLocalLbt)
  FORMA_TABLE(LdpLocalLbtAdvertisedToKey, LdpLocalLbtAdvertisedTo, localLbtAdvertisedTo,
              newLocalLbtAdvertisedTo, onLocalLbtAdvertisedTo)
  FORMA_TABLE(Mpls::FwdEqvClass, LdpLocalLbtFilterState, localLbtFilterState,
              newLocalLbtFilterState, onLocalLbtFilterState)
  FORMA_TABLE(LdpPeerLbtKey, LdpPeerLbt, peerLbt, newPeerLbt, onPeerLbt)
  FORMA_TABLE(LdpPeerLbtFilterStateKey, LdpPeerLbtFilterState, peerLbtFilterState,
              newPeerLbtFilterState, onPeerLbtFilterState)

 public:
  /// Each table notifies of the keys whose rows came, went or were written, and, with no key, of
  /// itself as a whole when somebody asks for that.
  class NotifieeConst : public Forma::NotifieeOf<LdpLabelBindingTable> {
   public:
    virtual void onLocalLbt(const LdpLocalLbtKey& /*key*/) {}
    virtual void onLocalLbt() {}
    virtual void onLocalLbtAdvertisedTo(const LdpLocalLbtAdvertisedToKey& /*key*/) {}
    virtual void onLocalLbtAdvertisedTo() {}
    virtual void onLocalLbtFilterState(const Mpls::FwdEqvClass& /*fec*/) {}
    virtual void onLocalLbtFilterState() {}
    virtual void onPeerLbt(const LdpPeerLbtKey& /*key*/) {}
    virtual void onPeerLbt() {}
    virtual void onPeerLbtFilterState(const LdpPeerLbtFilterStateKey& /*key*/) {}
    virtual void onPeerLbtFilterState() {}
  };
  using Notifiee = Forma::NotifieeMutable<LdpLabelBindingTable, NotifieeConst>;

  explicit LdpLabelBindingTable(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~LdpLabelBindingTable() override;
};

FORMA_FACTORY(ldpLabelBindingTableFactory, LdpLabelBindingTable, Forma::Name)

}  // namespace Ldp::LdpTarn
