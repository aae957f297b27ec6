#include "mpls/lfib/LfibIpLookupSm.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <utility>

#include "platform/forma/Assert.h"
#include "platform/forma/Trace.h"
#include "platform/ringtrace/RingTrace.h"

namespace Mpls {

namespace {

Forma::TraceHandle trace("LfibIpLookupSm");

/// The ring trace keeps which via set it was.
bool holds(bool condition, const LfibViaSet& viaSet) {
  if (!condition) [[unlikely]]
    RingTrace::record("LfibIpLookupSm: ", viaSet.viaKeys(), " vias in ",
                      Forma::valueToStrep(viaSet.key()).view());
  return condition;
}

/// The key of the one via.
LfibViaKey viaKeyOf(const LfibViaSet& viaSet) {
  FORMA_ASSERT_TEXT(holds(viaSet.viaKeys() == 1, viaSet), "viaSet.viaKeys() == 1",
                    "a via set of type IP lookup has one via");
  const LfibViaKey viaKey = viaSet.viaKey(0);
  FORMA_ASSERT_TEXT(holds(viaKey != LfibViaKey(), viaSet), "!!viaKey",
                    "the via of a via set of type IP lookup is named");
  return viaKey;
}

/// Whether packets can be looked up by `via`: a name that is none comes from a faulty writer.
bool hasVrf(const LfibIpLookupVia& via) {
  return via.vrfNameBufferText().size() <= L3::VrfName::maxLength();
}

}  // namespace

/// Routes that are looked up together, which hides most of the memory's latency.
class LfibIpLookupSm::Batch {
 public:
  static constexpr std::size_t room = 32;

  bool isFull() const { return size_ == room; }
  void add(const RouteKey& key) { keys_[size_++] = key; }
  std::span<const RouteKey> keys() const { return {keys_.data(), size_}; }
  void clear() { size_ = 0; }

  void lookUp(const LfibStatus& lfib) {
    lfib.lfibRouteBatch(keys(), routes_, found_);
    for (std::size_t i = 0; i < size_; ++i) {
      found_[i] = found_[i] && routes_[i].viaSetKey().viaType() == viaTypeIpLookup_;
      viaSetKeys_[i] = found_[i] ? routes_[i].viaSetKey() : LfibViaSetKey();
    }
    if (std::ranges::none_of(found_, std::identity())) return;
    findAlso([&](auto found) { lfib.viaSetBatch(first(viaSetKeys_), viaSets_, found); });
    for (std::size_t i = 0; i < size_; ++i)
      viaKeys_[i] = found_[i] ? viaKeyOf(viaSets_[i]) : LfibViaKey();
    findAlso([&](auto found) { lfib.ipLookupViaBatch(first(viaKeys_), vias_, found); });
    for (std::size_t i = 0; i < size_; ++i) found_[i] = found_[i] && hasVrf(vias_[i]);
  }
  /// The via by which packets of the i-th key are looked up; null for none.
  const LfibIpLookupVia* via(std::size_t i) const { return found_[i] ? &vias_[i] : nullptr; }

 private:
  template <class Key>
  std::span<const Key> first(const std::array<Key, room>& all) const {
    return {all.data(), size_};
  }
  template <class Find>
  void findAlso(Find find) {
    std::array<bool, room> next{};
    find(std::span<bool>(next));
    for (std::size_t i = 0; i < size_; ++i) found_[i] = found_[i] && next[i];
  }

  std::size_t size_ = 0;
  std::array<bool, room> found_{};
  std::array<RouteKey, room> keys_;
  std::array<LfibRoute, room> routes_;
  std::array<LfibViaSetKey, room> viaSetKeys_;
  std::array<LfibViaSet, room> viaSets_;
  std::array<LfibViaKey, room> viaKeys_;
  std::array<LfibIpLookupVia, room> vias_;
};

Forma::Ptr<LfibIpLookupSm> lfibIpLookupSmFactory(
    Forma::Ptr<LfibStatus const> lfibStatus, Forma::Ptr<LfibTrackingStatus> trackingStatus,
    Forma::Ptr<LfibIpLookupStatus> lfibIpLookupStatus) {
  Forma::Ptr<LfibIpLookupSm> sm(new LfibIpLookupSm(Forma::validPtr(std::move(lfibStatus)),
                                                   Forma::validPtr(std::move(trackingStatus)),
                                                   Forma::validPtr(std::move(lfibIpLookupStatus))));
  sm->handleInitialized();
  return sm;
}

LfibIpLookupSm::LfibIpLookupSm(Forma::Ptr<LfibStatus const> lfibStatus,
                               Forma::Ptr<LfibTrackingStatus> trackingStatus,
                               Forma::Ptr<LfibIpLookupStatus> lfibIpLookupStatus)
    : lfibStatus_(std::move(lfibStatus)),
      trackingStatus_(std::move(trackingStatus)),
      ipLookupStatus_(std::move(lfibIpLookupStatus)),
      trackingReactor_(*this) {
  trackingReactor_.notifierIs(trackingStatus_);
}

LfibIpLookupSm::~LfibIpLookupSm() = default;

void LfibIpLookupSm::TrackingReactor::onRouteKeyBacklog(const RouteKey& key) {
  if (notifier()->routeKeyBacklogFind(key) != nullptr) owner.handleRouteKeyBacklog(key);
}

void LfibIpLookupSm::handleInitialized() {
  FORMA_TRACE(trace, 8, "handleInitialized");
  const Forma::Ptr<LfibIpLookupSm> self(this);  // an observer of the output may drop the machine
  Forma::FirstException first;
  vrfAf_.clear();
  first.keep([&] { ipLookupStatus_->labelVrfAfDelAll(); });
  initialized_ = true;
  first.keep([&] { handleRouteKeyBacklog(); });
  first.raise();
}

void LfibIpLookupSm::handleRouteKeyBacklog() {
  const Forma::Ptr<LfibIpLookupSm> self(this);
  const auto batch = std::make_unique<Batch>();
  Forma::FirstException first;
  for (const auto& one : trackingStatus_->routeKeyBacklogIteratorConst()) {
    batch->add(one.key);
    if (batch->isFull()) handleBatch(*batch, first);
  }
  handleBatch(*batch, first);
  first.raise();
}

void LfibIpLookupSm::handleBatch(Batch& batch, Forma::FirstException& first) {
  if (!initialized_) return;
  for (const RouteKey& key : batch.keys())
    first.keep([&] { trackingStatus_->routeKeyBacklogDel(key); });
  const std::uint64_t before = handled_;
  batch.lookUp(*lfibStatus_);
  for (std::size_t i = 0; i < batch.keys().size(); ++i) {
    const RouteKey key = batch.keys()[i];
    // An observer may change tables: from then on what was looked up may be older than what a
    // nested call has published.
    if (handled_ != before) first.keep([&] { handleRouteKeyBacklog(key); });
    else first.keep([&] { setOutputForLabel(key.topLabel(), batch.via(i)); });
  }
  batch.clear();
}

void LfibIpLookupSm::handleRouteKeyBacklog(RouteKey key) {
  if (!initialized_) return;
  FORMA_TRACE(trace, 8, "handleRouteKeyBacklog", " for ", key);
  ++handled_;
  trackingStatus_->routeKeyBacklogDel(key);
  LfibIpLookupVia via;
  const bool found = viaFind(key, &via);
  setOutputForLabel(key.topLabel(), found ? &via : nullptr);
}

bool LfibIpLookupSm::viaFind(const RouteKey& key, LfibIpLookupVia* via) const {
  LfibRoute route;
  if (!lfibStatus_->lfibRouteFind(key, &route)) return false;
  LfibViaSet viaSet;
  return route.viaSetKey().viaType() == viaTypeIpLookup_ &&
         lfibStatus_->viaSetFind(route.viaSetKey(), &viaSet) &&
         lfibStatus_->ipLookupViaFind(viaKeyOf(viaSet), via) && hasVrf(*via);
}

void LfibIpLookupSm::setOutputForLabel(Netbase::MplsLabel label, const LfibIpLookupVia* via) {
  LabelVrfAf before, value;
  bool wasPublished = false;
  if (via == nullptr) {
    if (!vrfAf_.take(label, &before)) return;
    wasPublished = true;
  } else {
    value = LabelVrfAf(label, via->vrfName(), via->addressFamily());
    const auto [known, added] = vrfAf_.insert(label, value);
    if (!added && *known == value) {
      FORMA_TRACE(trace, 8, "handleRouteKeyBacklog", " no change for label=", label);
      return;
    }
    wasPublished = !added;
    if (wasPublished) before = std::exchange(*known, value);
  }
  FORMA_TRACE(trace, 1, "handleRouteKeyBacklog", " updating mapping label=", label,
              " vrfName=", value.vrfName(), " af=", value.addressFamily());
  const Forma::Ptr<LfibIpLookupStatus> status = ipLookupStatus_;
  Forma::FirstException first;
  if (wasPublished) first.keep([&] { status->labelVrfAfDel(before); });
  if (via != nullptr) first.keep([&] { status->labelVrfAfIs(value, true); });
  first.raise();
}

LfibIpLookupSm::LabelVrfAf LfibIpLookupSm::vrfAf(Netbase::MplsLabel label) const {
  const LabelVrfAf* const found = vrfAf_.find(label);
  return found != nullptr ? *found : LabelVrfAf();
}

}  // namespace Mpls
