#include "mpls/lfib/LfibForwardingSm.h"

#include <algorithm>
#include <span>
#include <utility>

#include "platform/forma/Trace.h"

namespace Mpls {

namespace {

Forma::TraceHandle trace("LfibForwardingSm");

}  // namespace

/// What is heard of one LFIB, and its rows of the batch at hand.
struct LfibForwardingSm::Input {
  Input(LfibForwardingSm& sm, std::uint32_t number, Lfib from)
      : lfib{Forma::validPtr(std::move(from.status)),
             Forma::validPtr(std::move(from.trackingStatus)),
             Forma::validPtr(std::move(from.trackingSm))},
        backlog(sm),
        rowReactor(sm, number, *lfib.trackingSm) {
    backlog.notifierIs(lfib.trackingStatus);
    rowReactor.notifierIs(lfib.status);
  }

  struct BacklogReactor : LfibTrackingStatus::NotifieeConst {
    explicit BacklogReactor(LfibForwardingSm& sm) : owner(sm) {}
    void onRouteKeyBacklog(const RouteKey& key) override { owner.handleRouteKey(key); }
    LfibForwardingSm& owner;
  };

  /// Says of which via sets the rows changed; tells the tracking machine of the vias that it does
  /// not follow.
  struct RowReactor : LfibStatus::NotifieeConst {
    RowReactor(LfibForwardingSm& sm, std::uint32_t number, LfibTrackingSm& of)
        : owner(sm), lfib(number), tracking(of) {}
    void onViaSet(const LfibViaSetKey& key) override { owner.entries_.viaSetChanged(lfib, key); }
    void onViaSet() override { owner.entries_.allChanged(); }
    void onPwVia(const LfibViaKey& key) override { viaChanged(key); }
    void onPwVia() override { owner.entries_.allChanged(); }
    void onMplsVia(const LfibViaKey& key) override { handleVia(key); }
    void onMplsVia() override { handleVias<LfibMplsVia>(); }
    void onIpLookupVia(const LfibViaKey& key) override { handleVia(key); }
    void onIpLookupVia() override { handleVias<LfibIpLookupVia>(); }
    void onVlanVia(const LfibViaKey& key) override { handleVia(key); }
    void onVlanVia() override { handleVias<LfibVlanVia>(); }
    void onEvpnVlanAwareVia(const LfibViaKey& key) override { handleVia(key); }
    void onEvpnVlanAwareVia() override { handleVias<LfibEvpnVlanAwareVia>(); }
    void onEvpnEthernetSegmentFilterVia(const LfibViaKey& key) override { handleVia(key); }
    void onEvpnEthernetSegmentFilterVia() override {
      handleVias<LfibEvpnEthernetSegmentFilterVia>();
    }
    void onEvpnVlanFloodVia(const LfibViaKey& key) override { handleVia(key); }
    void onEvpnVlanFloodVia() override { handleVias<LfibEvpnVlanFloodVia>(); }
    void onEvpnVlanAwareFloodVia(const LfibViaKey& key) override { handleVia(key); }
    void onEvpnVlanAwareFloodVia() override { handleVias<LfibEvpnVlanAwareFloodVia>(); }

    /// A via set that the tracking machine has not heard of yet is told of, too, in its time.
    void viaChanged(const LfibViaKey& key) {
      const auto viaSets = tracking.viaKeyToViaSetKeySet(key);
      if (!viaSets) return;
      for (const auto& one : viaSets->viaSetKeyIteratorConst())
        owner.entries_.viaSetChanged(lfib, one.key);
    }
    void handleVia(const LfibViaKey& key) {
      viaChanged(key);
      tracking.handleVia(key);
    }
    template <class Row>
    void handleVias() {
      owner.entries_.allChanged();
      LfibViaTable<Row>::of(*notifier()).eachKey([this](const LfibViaKey& key) {
        tracking.handleVia(key);
      });
    }
    LfibForwardingSm& owner;
    const std::uint32_t lfib;
    LfibTrackingSm& tracking;
  };

  const Lfib lfib;
  BacklogReactor backlog;
  RowReactor rowReactor;
  std::array<LfibRoute, batch> rows;
  std::array<bool, batch> found;
};

LfibForwardingSm::LfibForwardingSm(std::vector<Lfib> lfibs, Outputs outputs, Kiln::EventLoop& loop)
    : outputs_{Forma::validPtr(std::move(outputs.status)),
               Forma::validPtr(std::move(outputs.hwStatus)),
               Forma::validPtr(std::move(outputs.reasons))},
      entries_(outputs_.status),
      turn_(loop.timers(), [this] { handleTurn(); }) {
  for (Lfib& lfib : lfibs) {
    const auto number = static_cast<std::uint32_t>(inputs_.size());
    inputs_.push_back(std::make_unique<Input>(*this, number, std::move(lfib)));
    entries_.lfibAdd(inputs_.back()->lfib.status);
  }
  handleStart();
}

LfibForwardingSm::~LfibForwardingSm() = default;

/// All that is there: routes, and what an earlier machine left in the outputs.
void LfibForwardingSm::handleStart() {
  outputs_.status->lfibRouteDelAll();
  outputs_.status->lfibAdjacencyDelAll();
  outputs_.status->lfibPwAdjacencyDelAll();
  turn_.scheduleAfter(0);  // even if there are no routes
  const auto handle = [this](const RouteKey& key) { handleRouteKey(key); };
  for (const auto& input : inputs_) input->lfib.status->lfibRouteTable().eachKey(handle);
  outputs_.hwStatus->unprogrammedRouteTable().eachKey(handle);
  outputs_.reasons->unprogrammedReasonTable().eachKey([this](const UnprogrammedReasonKey& key) {
    if (key.lfib() < inputs_.size()) handleRouteKey(key.routeKey());
    else outputs_.reasons->unprogrammedReasonDel(key);
  });
}

// ---- The backlog -------------------------------------------------------------------------------

void LfibForwardingSm::handleRouteKey(const RouteKey& key) {
  if (!queued_.insert(key, true).second) return;
  backlog_.push_back(key);
  if (!turn_.pending()) turn_.scheduleAfter(0);
}

void LfibForwardingSm::handleTurn() {
  std::size_t done = 0;
  while (done < routesPerTurn && !backlog_.empty()) done += handleBatch();
  FORMA_TRACE(trace, 2, "handleTurn", " routes: ", done, " backlog: ", backlog_.size());
  if (!backlog_.empty()) turn_.scheduleAfter(0);
  else if (!std::exchange(initialized_, true) && onInitialized_) onInitialized_();
}

void LfibForwardingSm::work() {
  while (!backlog_.empty()) handleBatch();
}

std::size_t LfibForwardingSm::handleBatch() {
  std::array<RouteKey, batch> taken;
  std::size_t count = 0;
  for (; count < batch && !backlog_.empty(); ++count) {
    taken[count] = backlog_.front();
    backlog_.pop_front();
    queued_.erase(taken[count]);
  }
  const std::span<const RouteKey> keys(taken.data(), count);
  for (const auto& input : inputs_)
    input->lfib.status->lfibRouteBatch(keys, input->rows, input->found);
  for (std::size_t at = 0; at < count; ++at) setOutputForRoute(keys[at], at);
  return count;
}

// ---- One route ---------------------------------------------------------------------------------

std::size_t LfibForwardingSm::winnerAt(std::size_t at) const {
  std::size_t winner = inputs_.size();
  for (std::size_t i = 0; i < inputs_.size(); ++i) {
    if (!inputs_[i]->found[at]) continue;
    if (winner == inputs_.size() ||
        inputs_[i]->rows[at].source() < inputs_[winner]->rows[at].source())
      winner = i;
  }
  return winner;
}

void LfibForwardingSm::setOutputForRoute(const RouteKey& key, std::size_t at) {
  const std::size_t winner = winnerAt(at);
  LfibForwardingEntries::EntryPtr to;
  LfibHwReason reason = reasonNone_;
  LFib::Source source = LFib::lfibSourceUnknown_;
  if (winner != inputs_.size()) {
    const LfibRoute& row = inputs_[winner]->rows[at];
    source = row.source();
    if (LfibStatus::isEvpnViaType(row.viaSetKey().viaType()) && key.metric() != 0)
      reason = reasonMetricNotZero_;
    else to = entries_.entry(static_cast<std::uint32_t>(winner), row.viaSetKey(), &reason);
  }
  FORMA_TRACE(trace, 8, "setOutputForRoute", " for ", key, " reason: ", reason);
  routeIs(key, source, to);
  reportIs(key, at, winner, reason);
}

/// The one place that writes routes of the map and of the status.
void LfibForwardingSm::routeIs(const RouteKey& key, LFib::Source source,
                               const LfibForwardingEntries::EntryPtr& to) {
  LfibForwardingEntries::EntryPtr& known = *routes_.insert(key, nullptr).first;
  const LfibForwardingEntries::EntryPtr before = known;
  if (to) known = to;
  else routes_.erase(key);
  if (to && to != before) entries_.use(*to);
  if (to && to->adjacencyKey() != AdjacencyKey())
    outputs_.status->lfibRouteIs(LFib::Route(key, to->adjacencyKey(), source, {}));
  else if (before) outputs_.status->lfibRouteDel(key);
  if (to == before) return;
  routesOfMetric_[key.metric().value()] += (to ? 1U : 0U) - (before ? 1U : 0U);
  if (before) entries_.release(*before);
  if (onRoute_) onRoute_(key);
}

/// What is not forwarded: the taken route if that is so, and all others of the key. The return code
/// of the key is that of the taken one, as then nothing is forwarded.
void LfibForwardingSm::reportIs(const RouteKey& key, std::size_t at, std::size_t winner,
                                LfibHwReason reason) {
  LfibHwReason worst = reason;
  for (std::size_t i = 0; i < inputs_.size(); ++i) {
    LfibHwReason of = reasonNone_;
    if (i == winner) of = reason;
    else if (inputs_[i]->found[at]) of = reasonConflict_;
    if (worst == reasonNone_) worst = of;
    reasonIs({{key, static_cast<std::uint32_t>(i)}, inputs_[i]->rows[at].source(), of});
  }
  LfibHwStatus& hwStatus = *outputs_.hwStatus;
  if (worst == reasonNone_) {
    if (hwStatus.unprogrammedRoutes() != 0) hwStatus.unprogrammedRouteDel(key);
  } else if (const RouteInfo info(key, returnCodeOf(worst));
             hwStatus.unprogrammedRoute(key) != info)
    hwStatus.unprogrammedRouteCommit(info);
}

void LfibForwardingSm::reasonIs(const UnprogrammedReason& row) {
  LfibHwReasonStatus& reasons = *outputs_.reasons;
  if (row.reason() == reasonNone_) {
    if (reasons.unprogrammedReasons() != 0) reasons.unprogrammedReasonDel(row.key());
  } else if (reasons.unprogrammedReason(row.key()) != row) reasons.unprogrammedReasonCommit(row);
}

// ---- Reading -----------------------------------------------------------------------------------

LfibForwardingSm::EntryPtr LfibForwardingSm::route(const RouteKey& key) const {
  const LfibForwardingEntries::EntryPtr* const found = routes_.find(key);
  return found == nullptr ? nullptr : EntryPtr(*found);
}

LfibForwardingSm::EntryPtr LfibForwardingSm::lookup(Netbase::MplsLabel label) const {
  for (std::size_t metric = 0; metric < routesOfMetric_.size(); ++metric) {
    if (routesOfMetric_[metric] == 0) continue;
    if (EntryPtr found = route({label, static_cast<std::uint8_t>(metric)})) return found;
  }
  return nullptr;
}

Forma::Ptr<LfibForwardingSm> lfibForwardingSmFactory(std::vector<LfibForwardingSm::Lfib> lfibs,
                                                     LfibForwardingSm::Outputs outputs,
                                                     Kiln::EventLoop& loop) {
  return Forma::Ptr<LfibForwardingSm>(
      new LfibForwardingSm(std::move(lfibs), std::move(outputs), loop));
}

}  // namespace Mpls
