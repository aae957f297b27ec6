/// Publishes the label bindings of an LDP router: keeps the tables of LdpLabelBindingTable equal to
/// the router's own Ldp::LabelBindingTable and those of its peers, one row for each fact.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "ldp/LabelBindingTable.h"
#include "ldp/LdpLabelBindingTable.h"
#include "platform/forma/HashMap.h"

namespace Ldp::LdpTarn {

/// A container (a label set, a set of peers, a peer's table) that goes leaves its rows: whoever
/// writes the bindings deletes labels and peers one by one first, and with them go their rows. What
/// is left goes with the next full pass, so when the next process starts. A row that is there
/// already is not written again: readers hear of changes only.
///
/// Handlers do nothing before the first full pass, which the factory runs. What an observer of a
/// row raises is raised when the pass is over. Any callback may drop the machine.
///
/// Thread    the agent's event thread; no other.
/// Inputs    the local table and the peers' tables, read through notifiees; never written.
/// Outputs   all rows of the five tables.
/// Restart   rows of an earlier process that no binding backs are removed, the others stay.
/// Cost      a fact costs a few lookups, whatever the number of facts, FECs and peers.
class MPLS_EXPORT LdpLibProducerSm : public Forma::PtrInterface {
 public:
  static constexpr std::string_view formaTypeName = "Ldp::LdpTarn::LdpLibProducerSm";
  using Fec = Mpls::FwdEqvClass;

  ~LdpLibProducerSm() override;

  const Forma::Ptr<LabelBindingTable const>& localLbt() const { return localLbt_; }
  const Forma::Ptr<LabelBindingTableColl const>& peerLbtColl() const { return peerLbtColl_; }
  const Forma::Ptr<LdpLabelBindingTable>& tarnLbt() const { return tarnLbt_; }
  bool initialized() const { return initialized_; }

  /// The full pass: all rows, then all facts. Containers are followed as it comes to them.
  void handleInitialized();

  // ---- One fact, one row: it is there as long as the fact is ------------------------------------

  void handleLocalLabel(Fec fec, Netbase::MplsLabel label);
  void handleLocalAdvertisedTo(Fec fec, LdpIdentifier id);
  void handleLocalFilterState(Fec fec);
  void handlePeerLabel(LdpIdentifier id, Fec fec, Netbase::MplsLabel label);
  void handlePeerFilterState(LdpIdentifier id, Fec fec);

  // ---- All facts of a container -----------------------------------------------------------------

  void handleLocalLabelColl(Fec fec);
  void handleLocalAdvertisedToColl(Fec fec);
  void handlePeerLabelColl(LdpIdentifier id, Fec fec);
  /// The filter states and the labels of a peer.
  void handlePeerFecColl(LdpIdentifier id);

  // ---- What is followed -------------------------------------------------------------------------

  /// Follow a container in place of the one of its key, and handle all its facts. Null raises
  /// NullException.
  void localLbtLabelSetIs(Forma::Ptr<MplsLabelSet const> set);
  void localLbtAdvertisedToSetIs(Forma::Ptr<LdpIdentifierSet const> set);
  void peerLbtSetIs(Forma::Ptr<LabelBindingTable const> peer);
  /// Does nothing when no peer of that identifier is followed.
  void peerLbtLabelSetIs(LdpIdentifier id, Forma::Ptr<MplsLabelSet const> set);

  /// How many containers are followed.
  std::size_t localLbtLabelSets() const { return localLabelSets_.size(); }
  std::size_t localLbtAdvertisedToSets() const { return localAdvertisedToSets_.size(); }
  std::size_t peerLbtSets() const { return peers_.size(); }
  std::size_t peerLbtLabelSets(const LdpIdentifier& id) const;

 protected:
  LdpLibProducerSm(Forma::Ptr<LabelBindingTable const> localLbt,
                   Forma::Ptr<LabelBindingTableColl const> peerLbtColl,
                   Forma::Ptr<LdpLabelBindingTable> tarnLbt);

 private:
  friend Forma::Ptr<LdpLibProducerSm> ldpLibProducerSmFactory(
      Forma::Ptr<LabelBindingTable const>, Forma::Ptr<LabelBindingTableColl const>,
      Forma::Ptr<LdpLabelBindingTable>);

  struct LocalLbt : LabelBindingTable::NotifieeConst {
    explicit LocalLbt(LdpLibProducerSm& sm) : owner(sm) {}
    void onMplsLabelSet(const Fec& fec) override { owner.handleLocalLabelSet(fec); }
    void onAdvertisedTo(const Fec& fec) override { owner.handleLocalAdvertisedToSet(fec); }
    void onFecFilteredState(const Fec& fec) override { owner.handleLocalFilterState(fec); }
    LdpLibProducerSm& owner;
  };
  struct LocalLbtLabelSet : MplsLabelSet::NotifieeConst {
    explicit LocalLbtLabelSet(LdpLibProducerSm& sm) : owner(sm) {}
    void onMplsLabel(const Netbase::MplsLabel& label) override {
      owner.handleLocalLabel(notifier()->fec(), label);
    }
    LdpLibProducerSm& owner;
  };
  struct LocalLbtAdvertisedToSet : LdpIdentifierSet::NotifieeConst {
    explicit LocalLbtAdvertisedToSet(LdpLibProducerSm& sm) : owner(sm) {}
    void onIdentifier(const LdpIdentifier& id) override {
      owner.handleLocalAdvertisedTo(notifier()->fec(), id);
    }
    LdpLibProducerSm& owner;
  };
  struct PeerLbtColl : LabelBindingTableColl::NotifieeConst {
    explicit PeerLbtColl(LdpLibProducerSm& sm) : owner(sm) {}
    void onBindingTable(const LdpIdentifier& id) override { owner.handlePeer(id); }
    LdpLibProducerSm& owner;
  };
  /// Watches one peer.
  struct PeerLbtSet : LabelBindingTable::NotifieeConst {
    PeerLbtSet(LdpLibProducerSm& sm, const LdpIdentifier& peer) : owner(sm), id(peer) {}
    void onMplsLabelSet(const Fec& fec) override { owner.handlePeerLabelSet(id, fec); }
    void onFecFilteredState(const Fec& fec) override { owner.handlePeerFilterState(id, fec); }

    struct PeerLbtLabelSet : MplsLabelSet::NotifieeConst {
      explicit PeerLbtLabelSet(PeerLbtSet& set) : peer(set) {}
      void onMplsLabel(const Netbase::MplsLabel& label) override {
        peer.owner.handlePeerLabel(peer.id, notifier()->fec(), label);
      }
      PeerLbtSet& peer;
    };

    LdpLibProducerSm& owner;
    const LdpIdentifier id;
    Forma::HashMap<Fec, std::unique_ptr<PeerLbtLabelSet>> labelSets;
  };

  /// A container came or went.
  void handleLocalLabelSet(Fec fec);
  void handleLocalAdvertisedToSet(Fec fec);
  void handlePeer(LdpIdentifier id);
  void handlePeerLabelSet(LdpIdentifier id, Fec fec);

  void followPeer(const Forma::Ptr<LabelBindingTable const>& peer);
  PeerLbtSet* peerLbtSet(const LdpIdentifier& id) const;

  const Forma::Ptr<LabelBindingTable const> localLbt_;
  const Forma::Ptr<LabelBindingTableColl const> peerLbtColl_;
  const Forma::Ptr<LdpLabelBindingTable> tarnLbt_;
  bool initialized_ = false;
  LocalLbt localReactor_;
  PeerLbtColl peersReactor_;
  Forma::HashMap<Fec, std::unique_ptr<LocalLbtLabelSet>> localLabelSets_;
  Forma::HashMap<Fec, std::unique_ptr<LocalLbtAdvertisedToSet>> localAdvertisedToSets_;
  Forma::HashMap<LdpIdentifier, std::unique_ptr<PeerLbtSet>> peers_;
};

/// Makes the machine, for the process that writes the tables. Null raises NullException "null
/// ValidPtr".
MPLS_EXPORT Forma::Ptr<LdpLibProducerSm> ldpLibProducerSmFactory(
    Forma::Ptr<LabelBindingTable const> localLbt,
    Forma::Ptr<LabelBindingTableColl const> peerLbtColl, Forma::Ptr<LdpLabelBindingTable> tarnLbt);

}  // namespace Ldp::LdpTarn
