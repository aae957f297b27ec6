/// All label bindings that an LDP router knows of, at one time.
///
/// Thread    any.
#pragma once

#include <map>
#include <set>

#include "ldp/LabelBindingTable.h"
#include "ldp/LdpIdentifierSet.h"

namespace RouterBindings {

using Fec = Mpls::FwdEqvClass;
using Label = Netbase::MplsLabel;
using Ldp::LdpIdentifier;

/// Sets are never empty.
struct Snapshot {
  using Labels = std::map<Fec, std::set<Label>>;
  using Peers = std::map<Fec, std::set<LdpIdentifier>>;

  Labels local;                                           ///< of the router itself
  Peers advertised;                                       ///< the peers that it told of them
  std::map<LdpIdentifier, Labels> peers;                  ///< of each peer
  std::map<Netbase::IpGenAddr, LdpIdentifier> addresses;  ///< of the interfaces of the peers

  bool operator==(const Snapshot&) const = default;
  std::size_t labels() const;
  std::size_t advertisements() const;
  std::size_t peerLabels() const;
};

/// What such entities hold; addresses are not among it.
Snapshot snapshotOf(const Ldp::LabelBindingTable& local, const Ldp::LabelBindingTableColl& peers);

/// The labels that are bound to a FEC, and the peers that were told of it.
std::set<Label> labelsOf(const Ldp::LabelBindingTable& table, const Fec& fec);
std::set<LdpIdentifier> identifiersOf(const Ldp::LabelBindingTable& table, const Fec& fec);

}  // namespace RouterBindings
