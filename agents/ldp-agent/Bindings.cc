#include "agents/ldp-agent/Bindings.h"

namespace LdpAgent {

namespace {

using Ldp::LabelBindingTable;
using RouterBindings::identifiersOf;
using RouterBindings::labelsOf;
using Kind = LabelMessage::Kind;

/// Binds exactly these labels to the FEC.
void labelsAre(LabelBindingTable& table, const Fec& fec, const std::set<Label>& wanted,
               Ldp::LdpLabelSource source) {
  if (!wanted.empty() && !table.mplsLabelSet(fec))
    table.newMplsLabelSet(fec)->labelSourceIs(source);
  const auto set = table.mplsLabelSet(fec);
  if (!set) return;
  for (const Label label : wanted) set->mplsLabelIs(label, true);
  for (const Label label : labelsOf(table, fec))
    if (!wanted.contains(label)) set->mplsLabelDel(label);
  if (set->mplsLabels() == 0) table.mplsLabelSetDel(fec);
}

void advertisedIs(LabelBindingTable& table, const Fec& fec, const std::set<LdpIdentifier>& wanted) {
  const auto set = wanted.empty() ? table.advertisedTo(fec) : table.advertisedToIs(fec);
  if (!set) return;
  for (const LdpIdentifier& one : wanted) set->identifierIs(one, true);
  for (const LdpIdentifier& one : identifiersOf(table, fec))
    if (!wanted.contains(one)) set->identifierDel(one);
  if (set->identifiers() == 0) table.advertisedToDel(fec);
}

/// The labels of a FEC that are left when the message is through.
std::set<Label> withdrawn(std::set<Label> labels, const std::optional<Label>& label) {
  if (label) labels.erase(*label);
  else labels.clear();
  return labels;
}

}  // namespace

Bindings::Bindings(const LdpIdentifier& router)
    : local_(Ldp::labelBindingTableFactory("local", router)),
      peers_(Ldp::labelBindingTableCollFactory("peers")),
      addresses_(Ldp::ldpIdIntfIpMappingTableFactory("addresses")) {}

// ---- Messages ----------------------------------------------------------------------------------

template <class F>
void Bindings::eachFec(const LabelBindingTable& table, const LabelMessage& message, F f) {
  for (const FecElement& element : message.fecs) {
    if (element.fec) f(*element.fec);
    else
      for (const auto& one : table.mplsLabelSetIteratorConst())
        if (element.covers(one.key)) f(one.key);
  }
}

void Bindings::sent(const LdpIdentifier& peer, const LabelMessage& message) {
  if (message.kind == Kind::release) return;  // what the peer bound is its own affair
  eachFec(*local_, message, [&](const Fec& fec) {
    if (message.kind == Kind::mapping) {
      labelsAre(*local_, fec, {*message.label}, Ldp::ldpLabelSourceLocal_);
      return knownIs(peer, fec, true);
    }
    const std::set<Label> left = withdrawn(labelsOf(*local_, fec), message.label);
    if (left == labelsOf(*local_, fec)) return;  // another label than is bound
    knownIs(peer, fec, false);
    if (!local_->advertisedTo(fec)) labelsAre(*local_, fec, left, Ldp::ldpLabelSourceLocal_);
  });
}

void Bindings::received(const LdpIdentifier& peer, const LabelMessage& message) {
  if (message.kind == Kind::release)
    return eachFec(*local_, message, [&](const Fec& fec) { knownIs(peer, fec, false); });
  const auto table =
      message.kind == Kind::mapping ? peers_->bindingTableIs(peer) : peers_->bindingTable(peer);
  if (!table) return;
  eachFec(*table, message, [&](const Fec& fec) {
    const std::set<Label> labels = message.kind == Kind::mapping
                                       ? std::set<Label>{*message.label}
                                       : withdrawn(labelsOf(*table, fec), message.label);
    labelsAre(*table, fec, labels, Ldp::ldpLabelSourcePeer_);
  });
  if (table->mplsLabelSets() == 0) peers_->bindingTableDel(peer);
}

void Bindings::received(const LdpIdentifier& peer, const AddressMessage& message) {
  for (const Netbase::IpGenAddr& address : message.addresses) {
    if (!message.isWithdrawn) addresses_->intfIpToLdpIdIs(address, peer);
    else if (addresses_->intfIpToLdpId(address) == peer) addresses_->intfIpToLdpIdDel(address);
  }
}

void Bindings::peerDel(const LdpIdentifier& peer) {
  if (const auto table = peers_->bindingTable(peer)) {
    tableIs(*table, {}, Ldp::ldpLabelSourcePeer_);
    peers_->bindingTableDel(peer);
  }
  for (const auto& one : local_->advertisedToIteratorConst()) knownIs(peer, one.key, false);
  for (const Netbase::IpGenAddr& address : addressesOf(peer)) addresses_->intfIpToLdpIdDel(address);
}

std::set<Netbase::IpGenAddr> Bindings::addressesOf(const LdpIdentifier& peer) const {
  std::set<Netbase::IpGenAddr> all;
  for (const auto& one : addresses_->intfIpToLdpIdIteratorConst())
    if (one.value == peer) all.insert(one.key);
  return all;
}

void Bindings::knownIs(const LdpIdentifier& peer, const Fec& fec, bool isKnown) {
  std::set<LdpIdentifier> known = identifiersOf(*local_, fec);
  if (isKnown ? !known.insert(peer).second : known.erase(peer) == 0) return;
  advertisedIs(*local_, fec, known);
}

// ---- Snapshots ---------------------------------------------------------------------------------

void Bindings::snapshotIs(const Snapshot& wanted) {
  tableIs(*local_, wanted.local, Ldp::ldpLabelSourceLocal_);
  advertisedAre(wanted.advertised);
  for (const auto& one : peers_->bindingTableIteratorConst())
    if (!wanted.peers.contains(one.key)) peerDel(one.key);
  for (const auto& [peer, labels] : wanted.peers)
    tableIs(*peers_->bindingTableIs(peer), labels, Ldp::ldpLabelSourcePeer_);
  addressesAre(wanted.addresses);
}

void Bindings::tableIs(LabelBindingTable& table, const Snapshot::Labels& wanted,
                       Ldp::LdpLabelSource source) {
  for (const auto& one : table.mplsLabelSetIteratorConst())
    if (!wanted.contains(one.key)) labelsAre(table, one.key, {}, source);
  for (const auto& [fec, labels] : wanted) labelsAre(table, fec, labels, source);
}

void Bindings::advertisedAre(const std::map<Fec, std::set<LdpIdentifier>>& wanted) {
  for (const auto& one : local_->advertisedToIteratorConst())
    if (!wanted.contains(one.key)) advertisedIs(*local_, one.key, {});
  for (const auto& [fec, peers] : wanted) advertisedIs(*local_, fec, peers);
}

void Bindings::addressesAre(const std::map<Netbase::IpGenAddr, LdpIdentifier>& wanted) {
  for (const auto& one : addresses_->intfIpToLdpIdIteratorConst())
    if (!wanted.contains(one.key)) addresses_->intfIpToLdpIdDel(one.key);
  for (const auto& [address, peer] : wanted) addresses_->intfIpToLdpIdIs(address, peer);
}

}  // namespace LdpAgent
