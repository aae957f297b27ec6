/// The label bindings of an LDP router: its own, whom it has told of them, and those of its peers.
///
/// Thread    one.
/// Outputs   the entities below. Labels go before their set, identifiers before theirs, and sets
///           before their table: whoever follows these hears of each fact that goes. A set is there
///           while it holds something, and so is the table of a peer.
#pragma once

#include <map>
#include <optional>
#include <set>

#include "agents/ldp-agent/Message.h"
#include "agents/router-bindings/Snapshot.h"

namespace LdpAgent {

using RouterBindings::Fec;
using RouterBindings::Label;
using RouterBindings::LdpIdentifier;
using RouterBindings::Snapshot;

class Bindings {
 public:
  explicit Bindings(const LdpIdentifier& router);

  const Forma::Ptr<Ldp::LabelBindingTable>& local() const { return local_; }
  const Forma::Ptr<Ldp::LabelBindingTableColl>& peers() const { return peers_; }
  /// The peers by their interface addresses.
  const Forma::Ptr<Ldp::LdpIdIntfIpMappingTable>& addresses() const { return addresses_; }

  /// The router told `peer` of a binding, or took it back. A binding that was taken back from the
  /// last peer is no more.
  void sent(const LdpIdentifier& peer, const LabelMessage& message);
  /// The peer told of a binding of its own, or took it back; or it does no longer need one of ours.
  void received(const LdpIdentifier& peer, const LabelMessage& message);
  void received(const LdpIdentifier& peer, const AddressMessage& message);
  /// Nothing that the peer said holds any more, and it knows nothing of us. Other peers, and what
  /// is bound here, are not touched.
  void peerDel(const LdpIdentifier& peer);
  std::set<Netbase::IpGenAddr> addressesOf(const LdpIdentifier& peer) const;

  /// Changes what differs.
  void snapshotIs(const Snapshot& wanted);

 private:
  using Table = Ldp::LabelBindingTable;

  /// Calls `f` for all FECs that the message means; of a wildcard, those of the table.
  template <class F>
  static void eachFec(const Table& table, const LabelMessage& message, F f);
  static void tableIs(Table& table, const Snapshot::Labels& wanted, Ldp::LdpLabelSource source);
  /// Whether the peer knows of our binding.
  void knownIs(const LdpIdentifier& peer, const Fec& fec, bool isKnown);
  void advertisedAre(const std::map<Fec, std::set<LdpIdentifier>>& wanted);
  void addressesAre(const std::map<Netbase::IpGenAddr, LdpIdentifier>& wanted);

  const Forma::Ptr<Ldp::LabelBindingTable> local_;
  const Forma::Ptr<Ldp::LabelBindingTableColl> peers_;
  const Forma::Ptr<Ldp::LdpIdIntfIpMappingTable> addresses_;
};

}  // namespace LdpAgent
