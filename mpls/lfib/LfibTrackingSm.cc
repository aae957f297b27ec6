#include "mpls/lfib/LfibTrackingSm.h"

#include <utility>

#include "platform/forma/Assert.h"
#include "platform/forma/FirstException.h"
#include "platform/forma/Trace.h"
#include "platform/ringtrace/RingTrace.h"

namespace Mpls {

namespace {

Forma::TraceHandle trace("LfibTrackingSm");

/// What `map` holds at `key`; null when there is nothing.
template <class Map, class Key>
auto setAt(const Map& map, const Key& key) {
  const auto* const found = map.find(key);
  return found != nullptr ? *found : std::decay_t<decltype(*found)>();
}

/// The set at `key`, made when it is not there.
template <class Map, class Key>
auto& madeAt(Map& map, const Key& key) {
  auto& set = *map.insert(key, nullptr).first;
  if (!set) set = new typename std::decay_t<decltype(set)>::element_type(key);
  return *set;
}

/// The ring trace keeps which key it was.
template <class Key>
bool holds(bool condition, std::string_view what, const Key& key) {
  if (!condition) [[unlikely]]
    RingTrace::record("LfibTrackingSm: ", what, Forma::valueToStrep(key).view());
  return condition;
}

}  // namespace

Forma::Ptr<LfibTrackingSm> lfibTrackingSmFactory(Forma::Ptr<LfibStatus const> lfibStatus,
                                                 Forma::Ptr<LfibTrackingStatus> lfibTrackingStatus,
                                                 Forma::Name name) {
  Forma::Ptr<LfibTrackingSm> sm(
      new LfibTrackingSm(std::move(lfibStatus), std::move(lfibTrackingStatus), std::move(name)));
  sm->handleInitialized();
  return sm;
}

LfibTrackingSm::LfibTrackingSm(Forma::Ptr<LfibStatus const> lfibStatus,
                               Forma::Ptr<LfibTrackingStatus> lfibTrackingStatus, Forma::Name name)
    : name_(std::move(name)),
      lfibStatus_(Forma::validPtr(std::move(lfibStatus))),
      trackingStatus_(Forma::validPtr(std::move(lfibTrackingStatus))),
      statusReactor_(*this) {
  statusReactor_.notifierIs(lfibStatus_);
}

LfibTrackingSm::~LfibTrackingSm() = default;

void LfibTrackingSm::lfibStatusIs(Forma::Ptr<LfibStatus const> lfibStatus) {
  if (!lfibStatus) Forma::throwNullParameter("Mpls::LfibTrackingSm", "lfibStatus");
  lfibStatus_ = std::move(lfibStatus);
  statusReactor_.notifierIs(lfibStatus_);
  if (!initialized_) return;
  const Forma::Ptr<LfibTrackingSm> self(this);
  Forma::FirstException first;
  first.keep([&] { handleLfibRoutes(); });
  first.keep([&] { handleViaSets(); });
  first.keep([&] { handleVias(); });
  first.raise();
}

void LfibTrackingSm::lfibStatusDel() {
  statusReactor_.notifierIs(nullptr);
  lfibStatus_ = nullptr;
}

// ---- Notifications: ignored before the first pass -----------------------------------------------

void LfibTrackingSm::StatusReactor::onLfibRoute(const RouteKey& key) {
  if (owner.initialized_) owner.handleLfibRoute(key);
}
void LfibTrackingSm::StatusReactor::onLfibRoute() {
  if (owner.initialized_) owner.handleLfibRoutes();
}
void LfibTrackingSm::StatusReactor::onViaSet(const LfibViaSetKey& key) {
  if (owner.initialized_) owner.handleViaSet(key);
}
void LfibTrackingSm::StatusReactor::onViaSet() {
  if (owner.initialized_) owner.handleViaSets();
}
void LfibTrackingSm::StatusReactor::onPwVia(const LfibViaKey& key) {
  if (owner.initialized_) owner.handleVia(key);
}
void LfibTrackingSm::StatusReactor::onPwVia() {
  if (owner.initialized_) owner.handleVias();
}

// ---- Handlers -----------------------------------------------------------------------------------

void LfibTrackingSm::handleInitialized() {
  if (trackingStatus_->routeKeyBacklogs() != 0) {
    RingTrace::record("LfibTrackingSm: the backlog of ", trackingStatus_->name().view(), " holds ",
                      trackingStatus_->routeKeyBacklogs(), " routes before the start");
    FORMA_ASSERT_TEXT(false, "!lfibTrackingStatus()->routeKeyBacklogs()",
                      "the backlog must be empty on startup");
  }
  initialized_ = true;
  const Forma::Ptr<LfibTrackingSm> self(this);
  Forma::FirstException first;
  first.keep([&] { handleLfibRoutes(); });
  first.keep([&] { handleViaSets(); });
  first.raise();
}

void LfibTrackingSm::handleLfibRoutes() {
  const Forma::Ptr<LfibStatus const> status = lfibStatus_;
  if (!status) return;
  FORMA_TRACE(trace, 8, "handleLfibRoutes", " ", status->lfibRoutes());
  const Forma::Ptr<LfibTrackingSm> self(this);  // an observer of the backlog may drop the machine
  routeKeyToViaSetKey_.reserve(status->lfibRoutes());
  viaSetKeyToRouteKeySet_.reserve(status->viaSets());
  Forma::FirstException first;
  for (const auto& one : status->lfibRouteIteratorConst())
    first.keep([&] { handleLfibRoute(one.key, &one.value); });
  first.raise();
}

void LfibTrackingSm::handleLfibRoute(const RouteKey& key) {
  LfibRoute row;
  const bool found = lfibStatus_ && lfibStatus_->lfibRouteFind(key, &row);
  handleLfibRoute(key, found ? &row : nullptr);
}

void LfibTrackingSm::handleLfibRoute(const RouteKey& key, const LfibRoute* row) {
  FORMA_TRACE(trace, 8, "handleLfibRoute", " for ", key);
  delRouteKeyViaSetKeyMapping(key);
  if (row != nullptr) addRouteKeyViaSetKeyMapping(key, row->viaSetKey());
  addRouteKeyBacklog(key);
}

void LfibTrackingSm::handleViaSets() {
  const Forma::Ptr<LfibStatus const> status = lfibStatus_;
  if (!status) return;
  FORMA_TRACE(trace, 8, "handleViaSets", " ", status->viaSets());
  const Forma::Ptr<LfibTrackingSm> self(this);
  viaSetKeyToViaKeySet_.reserve(status->viaSets());
  Forma::FirstException first;
  for (const auto& one : status->viaSetIteratorConst())
    first.keep([&] { handleViaSet(one.key, &one.value); });
  first.raise();
}

void LfibTrackingSm::handleViaSet(const LfibViaSetKey& key) {
  LfibViaSet row;
  const bool found = lfibStatus_ && lfibStatus_->viaSetFind(key, &row);
  handleViaSet(key, found ? &row : nullptr);
}

void LfibTrackingSm::handleViaSet(const LfibViaSetKey& key, const LfibViaSet* row) {
  FORMA_TRACE(trace, 8, "handleViaSet", " for ", key);
  delViaSetKeyViaKeyMapping(key);
  if (row != nullptr)
    for (const LfibViaKey& viaKey : row->viaKeyIteratorConst())
      addViaSetKeyViaKeyMapping(key, viaKey);
  maybeAddRouteKeyBacklogByViaSetKey(key);
}

void LfibTrackingSm::handleVias() {
  const Forma::Ptr<LfibStatus const> status = lfibStatus_;
  if (!status) return;
  FORMA_TRACE(trace, 8, "handleVias");
  const Forma::Ptr<LfibTrackingSm> self(this);
  Forma::FirstException first;
  const auto handleAll = [&](const auto& vias) {
    vias.eachKey([&](const LfibViaKey& key) { first.keep([&] { handleVia(key); }); });
  };
  handleAll(status->mplsViaTable());
  handleAll(status->pwViaTable());
  handleAll(status->ipLookupViaTable());
  handleAll(status->vlanViaTable());
  handleAll(status->evpnVlanAwareViaTable());
  handleAll(status->evpnEthernetSegmentFilterViaTable());
  handleAll(status->evpnVlanFloodViaTable());
  handleAll(status->evpnVlanAwareFloodViaTable());
  first.raise();
}

void LfibTrackingSm::handleVia(const LfibViaKey& key) {
  FORMA_TRACE(trace, 8, "handleVia", " for ", key);
  maybeAddRouteKeyBacklogByViaKey(key);
}

// ---- The backlog --------------------------------------------------------------------------------

void LfibTrackingSm::addRouteKeyBacklog(const RouteKey& key) {
  assertInitialized();
  trackingStatus_->routeKeyBacklogIs(key, true);
}

void LfibTrackingSm::maybeAddRouteKeyBacklogByViaSetKey(const LfibViaSetKey& key) {
  assertInitialized();
  const Forma::Ptr<RouteKeySet const> routes = viaSetKeyToRouteKeySet(key);
  if (!routes) return;
  const Forma::Ptr<LfibTrackingSm> self(this);
  Forma::FirstException first;
  for (const auto& one : routes->routeKeyIteratorConst())
    first.keep([&] { addRouteKeyBacklog(one.key); });
  first.raise();
}

void LfibTrackingSm::maybeAddRouteKeyBacklogByViaKey(const LfibViaKey& key) {
  assertInitialized();
  const Forma::Ptr<ViaSetKeySet const> viaSets = viaKeyToViaSetKeySet(key);
  if (!viaSets) return;
  const Forma::Ptr<LfibTrackingSm> self(this);
  Forma::FirstException first;
  for (const auto& one : viaSets->viaSetKeyIteratorConst())
    first.keep([&] { maybeAddRouteKeyBacklogByViaSetKey(one.key); });
  first.raise();
}

// ---- The maps -----------------------------------------------------------------------------------

void LfibTrackingSm::addRouteKeyViaSetKeyMapping(const RouteKey& routeKey,
                                                 const LfibViaSetKey& viaSetKey) {
  assertInitialized();
  routeKeyToViaSetKey_.put(routeKey, viaSetKey);
  madeAt(viaSetKeyToRouteKeySet_, viaSetKey).routeKeyIs(routeKey, true);
}

void LfibTrackingSm::delRouteKeyViaSetKeyMapping(const RouteKey& routeKey) {
  assertInitialized();
  LfibViaSetKey viaSetKey;
  if (!routeKeyToViaSetKey_.take(routeKey, &viaSetKey)) return;
  const Forma::Ptr<RouteKeySet> viaSetToRouteMap = setAt(viaSetKeyToRouteKeySet_, viaSetKey);
  FORMA_ASSERT_TEXT(holds(!!viaSetToRouteMap, "no routes of the via set of ", routeKey),
                    "!!viaSetToRouteMap", "a route names a via set that names no routes");
  viaSetToRouteMap->routeKeyDel(routeKey);
  if (viaSetToRouteMap->routeKeys() == 0) viaSetKeyToRouteKeySet_.erase(viaSetKey);
}

void LfibTrackingSm::addViaSetKeyViaKeyMapping(const LfibViaSetKey& viaSetKey,
                                               const LfibViaKey& viaKey) {
  assertInitialized();
  madeAt(viaSetKeyToViaKeySet_, viaSetKey).viaKeyIs(viaKey, true);
  madeAt(viaKeyToViaSetKeySet_, viaKey).viaSetKeyIs(viaSetKey, true);
}

void LfibTrackingSm::delViaSetKeyViaKeyMapping(const LfibViaSetKey& viaSetKey) {
  assertInitialized();
  Forma::Ptr<ViaKeySet> vias;
  if (!viaSetKeyToViaKeySet_.take(viaSetKey, &vias)) return;
  for (const auto& one : vias->viaKeyIteratorConst()) {
    const Forma::Ptr<ViaSetKeySet> viaToViaSetMap = setAt(viaKeyToViaSetKeySet_, one.key);
    FORMA_ASSERT_TEXT(holds(!!viaToViaSetMap, "no via sets of the via ", one.key),
                      "!!viaToViaSetMap", "a via set names a via that names no via sets");
    viaToViaSetMap->viaSetKeyDel(viaSetKey);
    if (viaToViaSetMap->viaSetKeys() == 0) viaKeyToViaSetKeySet_.erase(one.key);
  }
  vias->viaKeyDelAll();
}

LfibViaSetKey LfibTrackingSm::routeKeyToViaSetKey(const RouteKey& key) const {
  return setAt(routeKeyToViaSetKey_, key);
}
Forma::Ptr<LfibTrackingSm::RouteKeySet const> LfibTrackingSm::viaSetKeyToRouteKeySet(
    const LfibViaSetKey& key) const {
  return setAt(viaSetKeyToRouteKeySet_, key);
}
Forma::Ptr<LfibTrackingSm::ViaKeySet const> LfibTrackingSm::viaSetKeyToViaKeySet(
    const LfibViaSetKey& key) const {
  return setAt(viaSetKeyToViaKeySet_, key);
}
Forma::Ptr<LfibTrackingSm::ViaSetKeySet const> LfibTrackingSm::viaKeyToViaSetKeySet(
    const LfibViaKey& key) const {
  return setAt(viaKeyToViaSetKeySet_, key);
}

void LfibTrackingSm::assertInitialized() const {
  if (initialized()) [[likely]]
    return;
  RingTrace::record("LfibTrackingSm: a step of ", name_.view(), " before its first pass");
  FORMA_ASSERT_TEXT(false, "initialized()", "no full pass has been made yet");
}

}  // namespace Mpls
