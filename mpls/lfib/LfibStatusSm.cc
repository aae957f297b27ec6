#include "mpls/lfib/LfibStatusSm.h"

#include <utility>

#include "platform/forma/Assert.h"
#include "platform/forma/FirstException.h"
#include "platform/forma/Trace.h"
#include "platform/ringtrace/RingTrace.h"

namespace Mpls {

namespace {

Forma::TraceHandle trace("LfibStatusSm");

}  // namespace

// ---- The producer -------------------------------------------------------------------------------

Forma::Ptr<LfibStatusProducerSm> lfibStatusProducerSmFactory(Forma::Ptr<LfibStatus> lfibStatus) {
  Forma::Ptr<LfibStatusProducerSm> sm(
      new LfibStatusProducerSm(Forma::validPtr(std::move(lfibStatus))));
  sm->handleInitialized();
  return sm;
}

LfibStatusProducerSm::LfibStatusProducerSm(Forma::Ptr<LfibStatus> lfibStatus)
    : lfibStatus_(std::move(lfibStatus)), statusReactor_(*this) {
  statusReactor_.notifierIs(lfibStatus_);
}

LfibStatusProducerSm::~LfibStatusProducerSm() = default;

void LfibStatusProducerSm::lfibStatusIs(Forma::Ptr<LfibStatus> lfibStatus) {
  if (!lfibStatus) Forma::throwNullParameter("Mpls::LfibStatusProducerSm", "lfibStatus");
  if (lfibStatus == lfibStatus_) return;
  lfibStatusDel();
  lfibStatus_ = std::move(lfibStatus);
  statusReactor_.notifierIs(lfibStatus_);
  handleInitialized();
}

void LfibStatusProducerSm::lfibStatusDel() {
  maps_.clear();
  statusReactor_.notifierIs(nullptr);
  lfibStatus_ = nullptr;
}

void LfibStatusProducerSm::handleInitialized() {
  initialized_ = true;
  if (!lfibStatus_) return;
  FORMA_TRACE(trace, 8, "LfibStatusProducerSm::handleInitialized");
  const Forma::Ptr<LfibStatusProducerSm> self(
      this);  // an observer of the rows may drop the machine
  const Forma::Ptr<LfibStatus> status = lfibStatus_;
  Forma::FirstException first;
  for (const auto& one : status->dot1qTagToVlanCompositeIteratorConst())
    first.keep([&] { handleDot1qTagToVlan(one.key.dot1qTagToVlanKey(), one.key.dot1qTag()); });
  for (const auto& one : status->dot1qTagToVlanCollIteratorConst())
    first.keep([&] { handleMap(one.key); });
  first.raise();
}

void LfibStatusProducerSm::handleMap(LfibDot1qTagToVlanKey mapKey) {
  if (!initialized_) return;
  const Forma::Ptr<LfibDot1qTagToVlan const> map = lfibStatus_->dot1qTagToVlanColl(mapKey);
  FORMA_TRACE(trace, 8, "handleDot1qTagToVlanColl", " for ", mapKey, map ? "" : ", gone");
  if (!map) {
    maps_.erase(mapKey);
    return;
  }
  followMap(mapKey, map);
  handleDot1qTagToVlanColl(mapKey, *map);
}

void LfibStatusProducerSm::followMap(const LfibDot1qTagToVlanKey& mapKey,
                                     Forma::Ptr<LfibDot1qTagToVlan const> map) {
  std::shared_ptr<MapReactor>& reactor = *maps_.insert(mapKey, nullptr).first;
  if (!reactor) reactor = std::make_shared<MapReactor>(*this, mapKey);
  if (reactor->notifier() != map.get()) reactor->notifierIs(std::move(map));
}

void LfibStatusProducerSm::handleDot1qTagToVlanColl(const LfibDot1qTagToVlanKey& mapKey,
                                                    const LfibDot1qTagToVlan& map) {
  const Forma::Ptr<LfibStatusProducerSm> self(this);
  const LfibDot1qTagToVlanKey key = mapKey;
  Forma::FirstException first;
  for (const auto& one : map.dot1qTagToVlanIdIteratorConst())
    first.keep([&] { handleDot1qTagToVlan(key, one.key); });
  first.raise();
}

void LfibStatusProducerSm::handleDot1qTagToVlan(LfibDot1qTagToVlanKey mapKey, Netbase::VlanId tag) {
  if (!initialized_ || !lfibStatus_) return;
  FORMA_TRACE(trace, 8, "handleDot1qTagToVlan", " for ", mapKey, ", tag ", tag);
  const LfibDot1qTagToVlanCompositeKey key(mapKey, tag);
  const LfibDot1qTagToVlan* const map = lfibStatus_->dot1qTagToVlanCollFind(mapKey);
  const Netbase::VlanId* const vlan = map != nullptr ? map->dot1qTagToVlanIdFind(tag) : nullptr;
  if (vlan != nullptr) {
    FORMA_TRACE(trace, 1, "handleDot1qTagToVlan", " row ", key, " has VLAN ", *vlan);
    lfibStatus_->dot1qTagToVlanCompositeCommit({key, *vlan});
  } else {
    FORMA_TRACE(trace, 1, "handleDot1qTagToVlan", " no row ", key);
    lfibStatus_->dot1qTagToVlanCompositeDel(key);
  }
}

// ---- The consumer -------------------------------------------------------------------------------

Forma::Ptr<LfibStatusConsumerSm> lfibStatusConsumerSmFactory(Forma::Ptr<LfibStatus> lfibStatus) {
  Forma::Ptr<LfibStatusConsumerSm> sm(
      new LfibStatusConsumerSm(Forma::validPtr(std::move(lfibStatus))));
  sm->handleInitialized();
  return sm;
}

LfibStatusConsumerSm::LfibStatusConsumerSm(Forma::Ptr<LfibStatus> lfibStatus)
    : lfibStatus_(std::move(lfibStatus)), statusReactor_(*this) {
  statusReactor_.notifierIs(lfibStatus_);
}

LfibStatusConsumerSm::~LfibStatusConsumerSm() = default;

void LfibStatusConsumerSm::lfibStatusIs(Forma::Ptr<LfibStatus> lfibStatus) {
  if (!lfibStatus) Forma::throwNullParameter("Mpls::LfibStatusConsumerSm", "lfibStatus");
  if (lfibStatus == lfibStatus_) return;
  lfibStatus_ = std::move(lfibStatus);
  statusReactor_.notifierIs(lfibStatus_);
  handleInitialized();
}

void LfibStatusConsumerSm::lfibStatusDel() {
  statusReactor_.notifierIs(nullptr);
  lfibStatus_ = nullptr;
}

void LfibStatusConsumerSm::handleInitialized() {
  if (lfibStatus_ && lfibStatus_->dot1qTagToVlanColls() != 0) {
    RingTrace::record("LfibStatusSm: ", lfibStatus_->name().view(), " holds ",
                      lfibStatus_->dot1qTagToVlanColls(), " tag maps before its consumer starts");
    FORMA_ASSERT_TEXT(false, "!lfibStatus()->dot1qTagToVlanColls()",
                      "This sm should not have been created with a filled dot1qTagToVlanColl");
  }
  initialized_ = true;
  handleDot1qTagToVlanComposite();
}

void LfibStatusConsumerSm::handleDot1qTagToVlanComposite() {
  if (!initialized_ || !lfibStatus_) return;
  const Forma::Ptr<LfibStatusConsumerSm> self(
      this);  // an observer of the maps may drop the machine
  const Forma::Ptr<LfibStatus> status = lfibStatus_;
  Forma::FirstException first;
  for (const auto& one : status->dot1qTagToVlanCompositeIteratorConst())
    first.keep([&] { handleDot1qTagToVlanComposite(one.key); });
  first.raise();
}

void LfibStatusConsumerSm::handleDot1qTagToVlanComposite(LfibDot1qTagToVlanCompositeKey key) {
  if (!initialized_ || !lfibStatus_) return;
  FORMA_TRACE(trace, 8, "handleDot1qTagToVlanComposite", " for ", key);
  const Forma::Ptr<LfibStatus> status = lfibStatus_;
  const LfibDot1qTagToVlanKey mapKey = key.dot1qTagToVlanKey();
  LfibDot1qTagToVlanComposite row;
  if (status->dot1qTagToVlanCompositeFind(key, &row)) {
    FORMA_TRACE(trace, 1, "handleDot1qTagToVlanComposite", " map ", mapKey, " has ", row);
    status->dot1qTagToVlanCollIs(mapKey)->dot1qTagToVlanIdIs(key.dot1qTag(), row.localVlan());
    return;
  }
  const Forma::Ptr<LfibDot1qTagToVlan> map = status->dot1qTagToVlanColl(mapKey);
  if (!map) return;
  FORMA_TRACE(trace, 1, "handleDot1qTagToVlanComposite", " map ", mapKey, " has no ", key);
  map->dot1qTagToVlanIdDel(key.dot1qTag());
  if (map->dot1qTagToVlanIds() == 0 && status->dot1qTagToVlanCollFind(mapKey) == map.get())
    status->dot1qTagToVlanCollDel(mapKey);
}

}  // namespace Mpls
