/// Rebuilds the label bindings of an LDP router from the tables of LdpLabelBindingTable: the
/// router's own Ldp::LabelBindingTable, and those of its peers.
#pragma once

#include <utility>

#include "ldp/LabelBindingTable.h"
#include "ldp/LdpLabelBindingTable.h"

namespace Ldp::LdpTarn {

/// Containers come with the first fact in them and go with the last: a set of labels or of peers
/// when it is empty, a peer's table when it has neither label sets nor filter states. Sets have no
/// label source: rows do not carry it. A row that is damaged is reported by its table, and reads as
/// none. One whose key and state are the defaults counts as none, too.
///
/// Handlers do nothing before the first full pass, which the factory runs. What an observer of an
/// output raises is raised when handler and pass are over. Any callback may drop the machine.
///
/// Thread    the agent's event thread; no other.
/// Inputs    the five tables, read through a notifiee; never written.
/// Outputs   all of the local table and of the peers' tables. They stay when the machine goes.
/// Restart   built by one full pass; aborts when there is anything in the outputs before it.
/// Cost      a fact costs a few lookups, whatever the number of facts, FECs and peers.
class MPLS_EXPORT LdpLibConsumerSm : public Forma::PtrInterface {
 public:
  ~LdpLibConsumerSm() override;

  const Forma::Ptr<LdpLabelBindingTable const>& tarnLbt() const { return tarnLbt_; }
  const Forma::Ptr<LabelBindingTable>& localLbt() const { return localLbt_; }
  const Forma::Ptr<LabelBindingTableColl>& peerLbtColl() const { return peerLbtColl_; }
  bool initialized() const { return initialized_; }

  /// The full pass. Aborts when there is anything in the outputs.
  void handleInitialized();
  /// Empties the outputs; its owner calls it, nobody else does.
  void handleDelete();

  // ---- One row: the fact is there as long as it is ----------------------------------------------

  void handleLocalLbt(LdpLocalLbtKey key);
  void handleLocalLbtAdvertisedTo(LdpLocalLbtAdvertisedToKey key);
  void handleLocalLbtFilterState(Mpls::FwdEqvClass fec);
  void handlePeerLbt(LdpPeerLbtKey key);
  void handlePeerLbtFilterState(LdpPeerLbtFilterStateKey key);

  // ---- All rows that are there ------------------------------------------------------------------

  void handleLocalLbt();
  void handleLocalLbtAdvertisedTo();
  void handleLocalLbtFilterState();
  void handlePeerLbt();
  void handlePeerLbtFilterState();

 protected:
  LdpLibConsumerSm(Forma::Ptr<LdpLabelBindingTable const> tarnLbt,
                   Forma::Ptr<LabelBindingTable> localLbt,
                   Forma::Ptr<LabelBindingTableColl> peerLbtColl);

 private:
  friend Forma::Ptr<LdpLibConsumerSm> ldpLibConsumerSmFactory(
      Forma::Ptr<LdpLabelBindingTable const>, Forma::Ptr<LabelBindingTable>,
      Forma::Ptr<LabelBindingTableColl>);

  struct TarnLbt : LdpLabelBindingTable::NotifieeConst {
    explicit TarnLbt(LdpLibConsumerSm& sm) : owner(sm) {}
    void onLocalLbt(const LdpLocalLbtKey& key) override { owner.handleLocalLbt(key); }
    void onLocalLbt() override { owner.handleLocalLbt(); }
    void onLocalLbtAdvertisedTo(const LdpLocalLbtAdvertisedToKey& key) override {
      owner.handleLocalLbtAdvertisedTo(key);
    }
    void onLocalLbtAdvertisedTo() override { owner.handleLocalLbtAdvertisedTo(); }
    void onLocalLbtFilterState(const Mpls::FwdEqvClass& fec) override {
      owner.handleLocalLbtFilterState(fec);
    }
    void onLocalLbtFilterState() override { owner.handleLocalLbtFilterState(); }
    void onPeerLbt(const LdpPeerLbtKey& key) override { owner.handlePeerLbt(key); }
    void onPeerLbt() override { owner.handlePeerLbt(); }
    void onPeerLbtFilterState(const LdpPeerLbtFilterStateKey& key) override {
      owner.handlePeerLbtFilterState(key);
    }
    void onPeerLbtFilterState() override { owner.handlePeerLbtFilterState(); }
    LdpLibConsumerSm& owner;
  };

  void requireEmptyOutputs() const;
  /// Calls `handle(key)` for the rows of a table.
  template <class Table, class Handle>
  void handleAll(const Table& table, Handle handle);

  const Forma::Ptr<LdpLabelBindingTable const> tarnLbt_;
  const Forma::Ptr<LabelBindingTable> localLbt_;
  const Forma::Ptr<LabelBindingTableColl> peerLbtColl_;
  bool initialized_ = false;
  TarnLbt reactor_;
};

/// Makes the machine, for a process that is attached to the tables as a reader. Null raises
/// NullException "null ValidPtr".
MPLS_EXPORT Forma::Ptr<LdpLibConsumerSm> ldpLibConsumerSmFactory(
    Forma::Ptr<LdpLabelBindingTable const> tarnLbt, Forma::Ptr<LabelBindingTable> localLbt,
    Forma::Ptr<LabelBindingTableColl> peerLbtColl);

}  // namespace Ldp::LdpTarn
