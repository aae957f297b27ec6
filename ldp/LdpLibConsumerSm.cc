#include "ldp/LdpLibConsumerSm.h"

#include "platform/forma/Assert.h"
#include "platform/forma/FirstException.h"
#include "platform/forma/Trace.h"
#include "platform/ringtrace/RingTrace.h"

namespace Ldp::LdpTarn {

using Forma::FirstException;
using Forma::Ptr;
using Mpls::FwdEqvClass;
using Self = Ptr<LdpLibConsumerSm>;  // an observer of the outputs may drop the machine

namespace {

Forma::TraceHandle trace("LdpLibSm");

/// Each of them may raise what an observer raises: that is kept, and the rest is done.
void addLabel(LabelBindingTable& table, const FwdEqvClass& fec, Netbase::MplsLabel label,
              FirstException& first) {
  first.keep([&] { table.mplsLabelSetIs(fec); });
  const Ptr<MplsLabelSet> set = table.mplsLabelSet(fec);
  if (set) first.keep([&] { set->mplsLabelIs(label, true); });
}

void removeLabel(LabelBindingTable& table, const FwdEqvClass& fec, Netbase::MplsLabel label,
                 FirstException& first) {
  const Ptr<MplsLabelSet> set = table.mplsLabelSet(fec);
  if (!set) return;
  first.keep([&] { set->mplsLabelDel(label); });
  if (set->mplsLabels() == 0 && table.mplsLabelSetFind(fec) == set.get())
    first.keep([&] { table.mplsLabelSetDel(fec); });
}

/// The table of a peer; made when there is none.
Ptr<LabelBindingTable> madePeer(LabelBindingTableColl& peers, const LdpIdentifier& id,
                                FirstException& first) {
  first.keep([&] { peers.bindingTableIs(id); });
  return peers.bindingTable(id);
}

void removePeerIfEmpty(LabelBindingTableColl& peers, const LdpIdentifier& id,
                       FirstException& first) {
  const LabelBindingTable* const peer = peers.bindingTableFind(id);
  if (peer != nullptr && peer->mplsLabelSets() == 0 && peer->fecFilteredStates() == 0)
    first.keep([&] { peers.bindingTableDel(id); });
}

}  // namespace

Ptr<LdpLibConsumerSm> ldpLibConsumerSmFactory(Ptr<LdpLabelBindingTable const> tarnLbt,
                                              Ptr<LabelBindingTable> localLbt,
                                              Ptr<LabelBindingTableColl> peerLbtColl) {
  Self sm(new LdpLibConsumerSm(Forma::validPtr(std::move(tarnLbt)),
                               Forma::validPtr(std::move(localLbt)),
                               Forma::validPtr(std::move(peerLbtColl))));
  sm->handleInitialized();
  return sm;
}

LdpLibConsumerSm::LdpLibConsumerSm(Ptr<LdpLabelBindingTable const> tarnLbt,
                                   Ptr<LabelBindingTable> localLbt,
                                   Ptr<LabelBindingTableColl> peerLbtColl)
    : tarnLbt_(std::move(tarnLbt)),
      localLbt_(std::move(localLbt)),
      peerLbtColl_(std::move(peerLbtColl)),
      reactor_(*this) {
  reactor_.notifierIs(tarnLbt_);
}

LdpLibConsumerSm::~LdpLibConsumerSm() = default;

void LdpLibConsumerSm::handleInitialized() {
  FORMA_TRACE(trace, 8, "LdpLibConsumerSm::handleInitialized");
  requireEmptyOutputs();
  initialized_ = true;
  const Self self(this);
  localLbt_->mplsLabelSetReserve(tarnLbt_->localLbts());
  FirstException first;
  first.keep([&] { handleLocalLbt(); });
  first.keep([&] { handleLocalLbtAdvertisedTo(); });
  first.keep([&] { handleLocalLbtFilterState(); });
  first.keep([&] { handlePeerLbt(); });
  first.keep([&] { handlePeerLbtFilterState(); });
  first.raise();
}

void LdpLibConsumerSm::requireEmptyOutputs() const {
  constexpr const char* rule = "This sm should not have been created with filled outputs";
  const std::size_t filled = localLbt_->mplsLabelSets() + localLbt_->advertisedTos() +
                             localLbt_->fecFilteredStates() + peerLbtColl_->bindingTables();
  if (filled != 0)
    RingTrace::record("LdpLibSm: the outputs for ", tarnLbt_->name().view(), " hold ", filled,
                      " entries before their consumer starts");
  FORMA_ASSERT_TEXT(localLbt_->mplsLabelSets() == 0, "!localLbt()->mplsLabelSets()", rule);
  FORMA_ASSERT_TEXT(localLbt_->advertisedTos() == 0, "!localLbt()->advertisedTos()", rule);
  FORMA_ASSERT_TEXT(localLbt_->fecFilteredStates() == 0, "!localLbt()->fecFilteredStates()", rule);
  FORMA_ASSERT_TEXT(peerLbtColl_->bindingTables() == 0, "!peerLbtColl()->bindingTables()", rule);
}

void LdpLibConsumerSm::handleDelete() {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handleDelete");
  const Self self(this);
  FirstException first;
  for (const auto& one : localLbt_->mplsLabelSetIteratorConst())
    first.keep([&] { localLbt_->mplsLabelSetDel(one.key); });
  for (const auto& one : localLbt_->advertisedToIteratorConst())
    first.keep([&] { localLbt_->advertisedToDel(one.key); });
  for (const auto& one : localLbt_->fecFilteredStateIteratorConst())
    first.keep([&] { localLbt_->fecFilteredStateDel(one.key); });
  for (const auto& one : peerLbtColl_->bindingTableIteratorConst())
    first.keep([&] { peerLbtColl_->bindingTableDel(one.key); });
  first.raise();
}

// ---- One row ------------------------------------------------------------------------------------

void LdpLibConsumerSm::handleLocalLbt(LdpLocalLbtKey key) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handleLocalLbt", " for ", key);
  const Ptr<LabelBindingTable> table = localLbt_;
  LdpLocalLbt row;
  const bool isThere = tarnLbt_->localLbtFind(key, &row);
  FirstException first;
  (isThere ? addLabel : removeLabel)(*table, key.fwdEqvClass(), key.label(), first);
  first.raise();
}

void LdpLibConsumerSm::handleLocalLbtAdvertisedTo(LdpLocalLbtAdvertisedToKey key) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handleLocalLbtAdvertisedTo", " for ", key);
  const Ptr<LabelBindingTable> table = localLbt_;
  const FwdEqvClass fec = key.fwdEqvClass();
  LdpLocalLbtAdvertisedTo row;
  const bool isThere = tarnLbt_->localLbtAdvertisedToFind(key, &row);
  FirstException first;
  if (isThere) first.keep([&] { table->advertisedToIs(fec); });
  if (const Ptr<LdpIdentifierSet> set = table->advertisedTo(fec)) {
    first.keep([&] {
      if (isThere) set->identifierIs(key.ldpIdentifier(), true);
      else set->identifierDel(key.ldpIdentifier());
    });
    if (set->identifiers() == 0 && table->advertisedToFind(fec) == set.get())
      first.keep([&] { table->advertisedToDel(fec); });
  }
  first.raise();
}

void LdpLibConsumerSm::handleLocalLbtFilterState(FwdEqvClass fec) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handleLocalLbtFilterState", " for ", fec);
  const LdpLocalLbtFilterState row = tarnLbt_->localLbtFilterState(fec);
  if (row != LdpLocalLbtFilterState()) localLbt_->fecFilteredStateIs(fec, row.fecFilteredState());
  else localLbt_->fecFilteredStateDel(fec);
}

void LdpLibConsumerSm::handlePeerLbt(LdpPeerLbtKey key) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handlePeerLbt", " for ", key);
  const Ptr<LabelBindingTableColl> peers = peerLbtColl_;
  const LdpIdentifier id = key.ldpIdentifier();
  LdpPeerLbt row;
  const bool isThere = tarnLbt_->peerLbtFind(key, &row);
  FirstException first;
  const Ptr<LabelBindingTable> peer =
      isThere ? madePeer(*peers, id, first) : peers->bindingTable(id);
  if (peer) (isThere ? addLabel : removeLabel)(*peer, key.fwdEqvClass(), key.label(), first);
  if (!isThere) removePeerIfEmpty(*peers, id, first);
  first.raise();
}

void LdpLibConsumerSm::handlePeerLbtFilterState(LdpPeerLbtFilterStateKey key) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handlePeerLbtFilterState", " for ", key);
  const Ptr<LabelBindingTableColl> peers = peerLbtColl_;
  const LdpIdentifier id = key.ldpIdentifier();
  const LdpPeerLbtFilterState row = tarnLbt_->peerLbtFilterState(key);
  const bool isThere = row != LdpPeerLbtFilterState();
  FirstException first;
  const Ptr<LabelBindingTable> peer =
      isThere ? madePeer(*peers, id, first) : peers->bindingTable(id);
  if (peer)
    first.keep([&] {
      if (isThere) peer->fecFilteredStateIs(key.fwdEqvClass(), row.fecFilteredState());
      else peer->fecFilteredStateDel(key.fwdEqvClass());
    });
  if (!isThere) removePeerIfEmpty(*peers, id, first);
  first.raise();
}

// ---- All rows -----------------------------------------------------------------------------------

template <class Table, class Handle>
void LdpLibConsumerSm::handleAll(const Table& table, Handle handle) {
  if (!initialized_) return;
  const Self self(this);
  FirstException first;
  table.eachKey([&](const auto& key) { first.keep([&] { handle(key); }); });
  first.raise();
}

void LdpLibConsumerSm::handleLocalLbt() {
  handleAll(tarnLbt_->localLbtTable(), [this](const auto& key) { handleLocalLbt(key); });
}

void LdpLibConsumerSm::handleLocalLbtAdvertisedTo() {
  handleAll(tarnLbt_->localLbtAdvertisedToTable(),
            [this](const auto& key) { handleLocalLbtAdvertisedTo(key); });
}

void LdpLibConsumerSm::handleLocalLbtFilterState() {
  handleAll(tarnLbt_->localLbtFilterStateTable(),
            [this](const auto& key) { handleLocalLbtFilterState(key); });
}

void LdpLibConsumerSm::handlePeerLbt() {
  handleAll(tarnLbt_->peerLbtTable(), [this](const auto& key) { handlePeerLbt(key); });
}

void LdpLibConsumerSm::handlePeerLbtFilterState() {
  handleAll(tarnLbt_->peerLbtFilterStateTable(),
            [this](const auto& key) { handlePeerLbtFilterState(key); });
}

}  // namespace Ldp::LdpTarn
