#include "ldp/LdpLibProducerSm.h"

#include <utility>

#include "platform/forma/FirstException.h"
#include "platform/forma/Trace.h"

namespace Ldp::LdpTarn {

using Forma::Ptr;
using Netbase::MplsLabel;
using Self = Ptr<LdpLibProducerSm>;  // an observer of the rows may drop the machine

namespace {

Forma::TraceHandle trace("LdpLibSm");

/// Makes the reactor of `key` watch `notifier`; whether it did not do so before.
template <class Reactors, class Key, class Notifier, class... Arguments>
bool follow(Reactors& reactors, const Key& key, const Ptr<Notifier>& notifier,
            Arguments&... arguments) {
  auto& reactor = *reactors.insert(key, nullptr).first;
  using Reactor = typename std::remove_reference_t<decltype(reactor)>::element_type;
  if (!reactor) reactor = std::make_unique<Reactor>(arguments...);
  if (reactor->notifier() == notifier.get()) return false;
  reactor->notifierIs(notifier);
  return true;
}

/// The one place that writes rows: `row` is there when the fact is, and none of its key otherwise.
/// What is so already is not done again.
template <auto find, auto commit, auto del, class Row>
void rowIs(LdpLabelBindingTable& table, bool isFact, const Row& row) {
  const auto key = row.key();
  Row there;
  const bool isThere = (table.*find)(key, &there);
  if (!isFact) {
    if (isThere) FORMA_TRACE(trace, 1, "rowIs", " no ", row);
    (table.*del)(key);  // also when the row is there and cannot be read
  } else if (!isThere || there != row) {
    FORMA_TRACE(trace, 1, "rowIs", " ", row);
    (table.*commit)(row);
  }
}

Mpls::FecFilteredState valueOrUnknown(const Mpls::FecFilteredState* state) {
  return state == nullptr ? Mpls::fecFilteredStateUnknown_ : *state;
}

}  // namespace

Ptr<LdpLibProducerSm> ldpLibProducerSmFactory(Ptr<LabelBindingTable const> localLbt,
                                              Ptr<LabelBindingTableColl const> peerLbtColl,
                                              Ptr<LdpLabelBindingTable> tarnLbt) {
  Self sm(new LdpLibProducerSm(Forma::validPtr(std::move(localLbt)),
                               Forma::validPtr(std::move(peerLbtColl)),
                               Forma::validPtr(std::move(tarnLbt))));
  sm->handleInitialized();
  return sm;
}

LdpLibProducerSm::LdpLibProducerSm(Ptr<LabelBindingTable const> localLbt,
                                   Ptr<LabelBindingTableColl const> peerLbtColl,
                                   Ptr<LdpLabelBindingTable> tarnLbt)
    : localLbt_(std::move(localLbt)),
      peerLbtColl_(std::move(peerLbtColl)),
      tarnLbt_(std::move(tarnLbt)),
      localReactor_(*this),
      peersReactor_(*this) {
  localReactor_.notifierIs(localLbt_);
  peersReactor_.notifierIs(peerLbtColl_);
}

LdpLibProducerSm::~LdpLibProducerSm() = default;

// ---- The full pass ------------------------------------------------------------------------------

void LdpLibProducerSm::handleInitialized() {
  FORMA_TRACE(trace, 8, "LdpLibProducerSm::handleInitialized");
  initialized_ = true;
  const Self self(this);
  Forma::FirstException first;
  tarnLbt_->localLbtTable().eachKey([&](const LdpLocalLbtKey& key) {
    first.keep([&] { handleLocalLabel(key.fwdEqvClass(), key.label()); });
  });
  tarnLbt_->localLbtFilterStateTable().eachKey(
      [&](const Fec& fec) { first.keep([&] { handleLocalFilterState(fec); }); });
  tarnLbt_->localLbtAdvertisedToTable().eachKey([&](const LdpLocalLbtAdvertisedToKey& key) {
    first.keep([&] { handleLocalAdvertisedTo(key.fwdEqvClass(), key.ldpIdentifier()); });
  });
  localLabelSets_.reserve(localLbt_->mplsLabelSets());
  for (const auto& one : localLbt_->mplsLabelSetIteratorConst())
    first.keep([&] { localLbtLabelSetIs(one.value); });
  for (const auto& one : localLbt_->fecFilteredStateIteratorConst())
    first.keep([&] { handleLocalFilterState(one.key); });
  localAdvertisedToSets_.reserve(localLbt_->advertisedTos());
  for (const auto& one : localLbt_->advertisedToIteratorConst())
    first.keep([&] { localLbtAdvertisedToSetIs(one.value); });
  tarnLbt_->peerLbtFilterStateTable().eachKey([&](const LdpPeerLbtFilterStateKey& key) {
    first.keep([&] { handlePeerFilterState(key.ldpIdentifier(), key.fwdEqvClass()); });
  });
  for (const auto& one : peerLbtColl_->bindingTableIteratorConst())
    first.keep([&] { peerLbtSetIs(one.value); });
  tarnLbt_->peerLbtTable().eachKey([&](const LdpPeerLbtKey& key) {
    first.keep([&] { handlePeerLabel(key.ldpIdentifier(), key.fwdEqvClass(), key.label()); });
  });
  first.raise();
}

// ---- One fact -----------------------------------------------------------------------------------

using Table = LdpLabelBindingTable;

void LdpLibProducerSm::handleLocalLabel(Fec fec, MplsLabel label) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handleLocalLabel", " for ", fec, ", label ", label);
  const MplsLabelSet* const set = localLbt_->mplsLabelSetFind(fec);
  rowIs<&Table::localLbtFind, &Table::localLbtCommit, &Table::localLbtDel>(
      *tarnLbt_, set != nullptr && set->mplsLabel(label), LdpLocalLbt({fec, label}));
}

void LdpLibProducerSm::handleLocalAdvertisedTo(Fec fec, LdpIdentifier id) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handleLocalAdvertisedTo", " for ", fec, ", peer ", id);
  const LdpIdentifierSet* const set = localLbt_->advertisedToFind(fec);
  rowIs<&Table::localLbtAdvertisedToFind, &Table::localLbtAdvertisedToCommit,
        &Table::localLbtAdvertisedToDel>(*tarnLbt_,
                                         set != nullptr && set->identifierFind(id) != nullptr,
                                         LdpLocalLbtAdvertisedTo({fec, id}));
}

void LdpLibProducerSm::handleLocalFilterState(Fec fec) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handleLocalFilterState", " for ", fec);
  const Mpls::FecFilteredState* const state = localLbt_->fecFilteredStateFind(fec);
  rowIs<&Table::localLbtFilterStateFind, &Table::localLbtFilterStateCommit,
        &Table::localLbtFilterStateDel>(*tarnLbt_, state != nullptr,
                                        LdpLocalLbtFilterState(fec, valueOrUnknown(state)));
}

void LdpLibProducerSm::handlePeerLabel(LdpIdentifier id, Fec fec, MplsLabel label) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handlePeerLabel", " for ", id, ", ", fec, ", label ", label);
  const LabelBindingTable* const peer = peerLbtColl_->bindingTableFind(id);
  const MplsLabelSet* const set = peer == nullptr ? nullptr : peer->mplsLabelSetFind(fec);
  rowIs<&Table::peerLbtFind, &Table::peerLbtCommit, &Table::peerLbtDel>(
      *tarnLbt_, set != nullptr && set->mplsLabel(label), LdpPeerLbt({id, fec, label}));
}

void LdpLibProducerSm::handlePeerFilterState(LdpIdentifier id, Fec fec) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handlePeerFilterState", " for ", id, ", ", fec);
  const LabelBindingTable* const peer = peerLbtColl_->bindingTableFind(id);
  const auto* const state = peer == nullptr ? nullptr : peer->fecFilteredStateFind(fec);
  rowIs<&Table::peerLbtFilterStateFind, &Table::peerLbtFilterStateCommit,
        &Table::peerLbtFilterStateDel>(*tarnLbt_, state != nullptr,
                                       LdpPeerLbtFilterState({id, fec}, valueOrUnknown(state)));
}

// ---- All facts of a container -------------------------------------------------------------------

void LdpLibProducerSm::handleLocalLabelColl(Fec fec) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handleLocalLabelColl", " for ", fec);
  const Self self(this);
  Forma::FirstException first;
  if (const auto set = localLbt_->mplsLabelSet(fec))
    for (const auto& one : set->mplsLabelIteratorConst())
      first.keep([&] { handleLocalLabel(fec, one.key); });
  first.raise();
}

void LdpLibProducerSm::handleLocalAdvertisedToColl(Fec fec) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handleLocalAdvertisedToColl", " for ", fec);
  const Self self(this);
  Forma::FirstException first;
  if (const auto set = localLbt_->advertisedTo(fec))
    for (const auto& one : set->identifierIteratorConst())
      first.keep([&] { handleLocalAdvertisedTo(fec, one.key); });
  first.raise();
}

void LdpLibProducerSm::handlePeerLabelColl(LdpIdentifier id, Fec fec) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handlePeerLabelColl", " for ", id, ", ", fec);
  const Self self(this);
  Forma::FirstException first;
  const LabelBindingTable* const peer = peerLbtColl_->bindingTableFind(id);
  if (const Ptr<MplsLabelSet const> set = peer == nullptr ? nullptr : peer->mplsLabelSet(fec))
    for (const auto& one : set->mplsLabelIteratorConst())
      first.keep([&] { handlePeerLabel(id, fec, one.key); });
  first.raise();
}

void LdpLibProducerSm::handlePeerFecColl(LdpIdentifier id) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handlePeerFecColl", " for ", id);
  const Self self(this);
  const Ptr<LabelBindingTable const> peer = peerLbtColl_->bindingTable(id);
  if (!peer) return;
  Forma::FirstException first;
  for (const auto& one : peer->fecFilteredStateIteratorConst())
    first.keep([&] { handlePeerFilterState(id, one.key); });
  for (const auto& one : peer->mplsLabelSetIteratorConst())
    first.keep([&] { handlePeerLabelColl(id, one.key); });
  first.raise();
}

// ---- What is followed ---------------------------------------------------------------------------

void LdpLibProducerSm::followPeer(const Ptr<LabelBindingTable const>& peer) {
  LdpIdentifier id = peer->ldpIdentifier();
  if (!follow(peers_, id, peer, *this, id)) return;
  PeerLbtSet& reactor = *peerLbtSet(id);
  reactor.labelSets.clear();
  reactor.labelSets.reserve(peer->mplsLabelSets());
  for (const auto& one : peer->mplsLabelSetIteratorConst())
    follow(reactor.labelSets, one.key, one.value, reactor);
}

LdpLibProducerSm::PeerLbtSet* LdpLibProducerSm::peerLbtSet(const LdpIdentifier& id) const {
  const std::unique_ptr<PeerLbtSet>* const found = peers_.find(id);
  return found == nullptr ? nullptr : found->get();
}

std::size_t LdpLibProducerSm::peerLbtLabelSets(const LdpIdentifier& id) const {
  const PeerLbtSet* const peer = peerLbtSet(id);
  return peer == nullptr ? 0 : peer->labelSets.size();
}

void LdpLibProducerSm::localLbtLabelSetIs(Ptr<MplsLabelSet const> set) {
  if (!set) Forma::throwNullParameter(formaTypeName, "localLbtLabelSet");
  follow(localLabelSets_, set->fec(), set, *this);
  handleLocalLabelColl(set->fec());
}

void LdpLibProducerSm::localLbtAdvertisedToSetIs(Ptr<LdpIdentifierSet const> set) {
  if (!set) Forma::throwNullParameter(formaTypeName, "localLbtAdvertisedToSet");
  follow(localAdvertisedToSets_, set->fec(), set, *this);
  handleLocalAdvertisedToColl(set->fec());
}

void LdpLibProducerSm::peerLbtSetIs(Ptr<LabelBindingTable const> peer) {
  if (!peer) Forma::throwNullParameter(formaTypeName, "peerLbtSet");
  followPeer(peer);
  handlePeerFecColl(peer->ldpIdentifier());
}

void LdpLibProducerSm::peerLbtLabelSetIs(LdpIdentifier id, Ptr<MplsLabelSet const> set) {
  if (!set) Forma::throwNullParameter(formaTypeName, "peerLbtLabelSet");
  PeerLbtSet* const peer = peerLbtSet(id);
  if (peer == nullptr) return;
  follow(peer->labelSets, set->fec(), set, *peer);
  handlePeerLabelColl(id, set->fec());
}

void LdpLibProducerSm::handleLocalLabelSet(Fec fec) {
  const Ptr<MplsLabelSet const> set = localLbt_->mplsLabelSet(fec);
  FORMA_TRACE(trace, 8, "handleLocalLabelSet", " for ", fec, set ? "" : ", gone");
  if (set) localLbtLabelSetIs(set);
  else localLabelSets_.erase(fec);
}

void LdpLibProducerSm::handleLocalAdvertisedToSet(Fec fec) {
  const Ptr<LdpIdentifierSet const> set = localLbt_->advertisedTo(fec);
  FORMA_TRACE(trace, 8, "handleLocalAdvertisedToSet", " for ", fec, set ? "" : ", gone");
  if (set) localLbtAdvertisedToSetIs(set);
  else localAdvertisedToSets_.erase(fec);
}

void LdpLibProducerSm::handlePeer(LdpIdentifier id) {
  const Ptr<LabelBindingTable const> peer = peerLbtColl_->bindingTable(id);
  FORMA_TRACE(trace, 8, "handlePeer", " for ", id, peer ? "" : ", gone");
  if (peer) peerLbtSetIs(peer);
  else peers_.erase(id);
}

void LdpLibProducerSm::handlePeerLabelSet(LdpIdentifier id, Fec fec) {
  const PeerLbtSet* const reactor = peerLbtSet(id);
  const Ptr<MplsLabelSet const> set = reactor->notifier()->mplsLabelSet(fec);
  FORMA_TRACE(trace, 8, "handlePeerLabelSet", " for ", id, ", ", fec, set ? "" : ", gone");
  if (set) peerLbtLabelSetIs(id, set);
  else peerLbtSet(id)->labelSets.erase(fec);
}

}  // namespace Ldp::LdpTarn
