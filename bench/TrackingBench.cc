/// The machines that follow the LFIB, at the size of a large switch: 1 M routes over 100 k via sets
/// of three vias each, out of 200 k. Times are per route (`pass`, `drain`) and per change.
///
/// The peer of the tracking's pass is what one would write by hand: a loop over the same tables
/// that fills the same four maps, of absl::flat_hash_map and sets of keys. It keeps no backlog.
#include <absl/container/flat_hash_map.h>
#include <absl/container/flat_hash_set.h>
#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/Passes.h"
#include "mpls/lfib/LfibIpLookupSm.h"
#include "mpls/lfib/LfibTrackingSm.h"

namespace Mpls {

/// Peers hash their keys as they do best.
template <class H>
H AbslHashValue(H h, const RouteKey& key) {
  return H::combine(std::move(h), key.topLabel().value(), key.metric().value());
}
template <class H>
H AbslHashValue(H h, const LfibViaSetKey& key) {
  return H::combine(std::move(h), key.source(), key.index(), key.viaType());
}
template <class H>
H AbslHashValue(H h, const LfibViaKey& key) {
  return H::combine(std::move(h), key.source(), key.viaType(), key.index());
}

namespace {

using Bench::measurePasses;
using Bench::memoryInUse;
using Bench::shuffled;

constexpr auto source = LFib::lfibSourceLdp_;
constexpr std::uint32_t routesOfSet = 10;

RouteKey routeKey(std::uint32_t i) { return {16 + i, std::uint8_t{0}}; }

/// Tables with n routes, n/10 via sets, and n/5 vias that are used.
class Lfib {
 public:
  Lfib(std::uint32_t routes, LfibViaType viaType) : n(routes), type(viaType) {
    for (const std::uint32_t i : shuffled(sets(), 1)) {
      status->viaSetCommit(viaSet(i, 0));
      if (type == viaTypeIpLookup_) status->ipLookupViaCommit(ipLookupVia(i));
    }
    for (const std::uint32_t i : shuffled(n, 2)) status->lfibRouteCommit(route(i, i));
  }

  std::uint32_t sets() const { return n / routesOfSet; }
  LfibViaSetKey setKey(std::uint32_t i) const { return {source, i % sets(), type}; }
  LfibViaKey viaKey(std::uint32_t i) const { return {source, type, i % (2 * sets())}; }
  LfibRoute route(std::uint32_t i, std::uint32_t set) const {
    return {routeKey(i), setKey(set), source};
  }
  /// With `shift` the last via is another one.
  LfibViaSet viaSet(std::uint32_t i, std::uint32_t shift) const {
    if (type == viaTypeIpLookup_) return {setKey(i), {viaKey(i)}};
    return {setKey(i), {viaKey(2 * i), viaKey(2 * i + 1), viaKey(2 * i + 2 + shift)}};
  }
  LfibIpLookupVia ipLookupVia(std::uint32_t i) const {
    return {viaKey(i), L3::VrfName("customer-" + std::to_string(i)), Netbase::ipv4_};
  }

  const std::uint32_t n;
  const LfibViaType type;
  Forma::Ptr<LfibStatus> status = lfibStatusFactory("lfib");
};

/// Tables are made once for each size and type and never freed.
Lfib& lfibOf(std::uint32_t n, LfibViaType type = viaTypeMplsPseudowire_) {
  static auto* const made = new std::map<std::pair<std::uint32_t, LfibViaType>, Lfib>;
  return made->try_emplace({n, type}, n, type).first->second;
}

Forma::Ptr<LfibTrackingSm> tracking(const Lfib& lfib) {
  return lfibTrackingSmFactory(lfib.status, lfibTrackingStatusFactory("tracking"), "tracking");
}

void pass(benchmark::State& state, std::uint32_t n) {
  const Lfib& lfib = lfibOf(n);
  measurePasses(state, n, [&] { return tracking(lfib); });
}

/// The four maps as one would fill them for this one purpose.
struct Maps {
  explicit Maps(const LfibStatus& status) {
    routeKeyToViaSetKey.reserve(status.lfibRoutes());
    for (const auto& [key, route] : status.lfibRouteIteratorConst()) {
      routeKeyToViaSetKey[key] = route.viaSetKey();
      viaSetKeyToRouteKeySet[route.viaSetKey()].insert(key);
    }
    for (const auto& [key, viaSet] : status.viaSetIteratorConst())
      for (const LfibViaKey& viaKey : viaSet.viaKeyIteratorConst()) {
        viaSetKeyToViaKeySet[key].insert(viaKey);
        viaKeyToViaSetKeySet[viaKey].insert(key);
      }
  }
  absl::flat_hash_map<RouteKey, LfibViaSetKey> routeKeyToViaSetKey;
  absl::flat_hash_map<LfibViaSetKey, absl::flat_hash_set<RouteKey>> viaSetKeyToRouteKeySet;
  absl::flat_hash_map<LfibViaSetKey, absl::flat_hash_set<LfibViaKey>> viaSetKeyToViaKeySet;
  absl::flat_hash_map<LfibViaKey, absl::flat_hash_set<LfibViaSetKey>> viaKeyToViaSetKeySet;
};

void passByHand(benchmark::State& state, std::uint32_t n) {
  const Lfib& lfib = lfibOf(n);
  const auto sm = tracking(lfib);
  const Maps maps(*lfib.status);
  if (maps.routeKeyToViaSetKey.size() != sm->routeKeyToViaSetKeyMap().size() ||
      maps.viaKeyToViaSetKeySet.size() != sm->viaKeyToViaSetKeySetMap().size())
    return state.SkipWithError("the maps differ");
  measurePasses(state, n, [&] { return std::make_unique<Maps>(*lfib.status); });
}

constexpr std::uint32_t batch = 1'000;
constexpr std::uint32_t fewSets = 10;

/// Changes of the same few via sets, which the machine follows, and of whose routes the backlog is
/// emptied: in a small and in a large table the times say what the number of the others costs.
template <class Change>
void measureChanges(benchmark::State& state, std::uint32_t n, Change change) {
  Lfib& lfib = lfibOf(n);
  const auto sm = tracking(lfib);
  sm->lfibTrackingStatus()->routeKeyBacklogDelAll();
  const auto numbers = shuffled(lfib.sets(), 3);
  std::uint32_t at = 0;
  while (state.KeepRunningBatch(batch))
    for (std::uint32_t i = 0; i < batch; ++i, ++at) {
      change(lfib, numbers[at % fewSets], at / fewSets % 2);
      sm->lfibTrackingStatus()->routeKeyBacklogDelAll();
    }
}

/// A route moves from one via set to another, and back the next time.
void routeChange(benchmark::State& state, std::uint32_t n) {
  measureChanges(state, n, [](Lfib& lfib, std::uint32_t i, std::uint32_t other) {
    lfib.status->lfibRouteCommit(lfib.route(i, i + other));
  });
}
/// A via set gets another via: ten routes.
void viaSetChange(benchmark::State& state, std::uint32_t n) {
  measureChanges(state, n, [](Lfib& lfib, std::uint32_t i, std::uint32_t other) {
    lfib.status->viaSetCommit(lfib.viaSet(i, other));
  });
}
/// A via of two via sets changes: twenty routes.
void viaChange(benchmark::State& state, std::uint32_t n) {
  measureChanges(state, n, [](Lfib& lfib, std::uint32_t i, std::uint32_t other) {
    LfibPwVia via(lfib.viaKey(2 * i));
    via.controlWordPresentIs(other != 0);
    lfib.status->pwViaCommit(via);
  });
}

/// Of the four maps, per route.
void memory(benchmark::State& state, std::uint32_t n) {
  const Lfib& lfib = lfibOf(n);
  std::size_t bytes = 0;
  for (auto _ : state) {
    const std::size_t before = memoryInUse();
    const auto sm = tracking(lfib);
    sm->lfibTrackingStatus()->routeKeyBacklogDelAll();
    bytes = memoryInUse() - before;
  }
  state.counters["bytes"] = static_cast<double>(bytes) / n;
}

/// A backlog of all routes is worked through by a new machine.
void measureDrain(benchmark::State& state, std::uint32_t n, LfibViaType type) {
  const Lfib& lfib = lfibOf(n, type);
  while (state.KeepRunningBatch(n)) {
    state.PauseTiming();
    const auto backlog = lfibTrackingStatusFactory("tracking");
    { const auto sm = lfibTrackingSmFactory(lfib.status, backlog, "tracking"); }
    const auto lookups = lfibIpLookupStatusFactory("lookups");
    state.ResumeTiming();
    auto sm = lfibIpLookupSmFactory(lfib.status, backlog, lookups);
    state.PauseTiming();
    if (lookups->labelVrfAfs() != (type == viaTypeIpLookup_ ? n : 0))
      state.SkipWithError("labels are missing");
    sm = nullptr;
    state.ResumeTiming();
  }
}
void drain(benchmark::State& state, std::uint32_t n) {
  measureDrain(state, n, viaTypeMplsPseudowire_);
}
void drainLookups(benchmark::State& state, std::uint32_t n) {
  measureDrain(state, n, viaTypeIpLookup_);
}

using Operation = void (*)(benchmark::State&, std::uint32_t);

void add(const char* op, const char* who, Operation measure, std::vector<std::uint32_t> sizes) {
  for (const std::uint32_t n : sizes)
    benchmark::RegisterBenchmark(
        (std::string("Tracking/") + op + '/' + who + '/' + std::to_string(n)).c_str(),
        [=](benchmark::State& state) { measure(state, n); });
}

const bool added = [] {
  add("pass", "Mpls", pass, {1'000'000});
  add("pass", "absl", passByHand, {1'000'000});
  add("routeChange", "Mpls", routeChange, {1'000, 1'000'000});
  add("viaSetChange", "Mpls", viaSetChange, {1'000, 1'000'000});
  add("viaChange", "Mpls", viaChange, {1'000, 1'000'000});
  add("memory", "Mpls", memory, {1'000'000});
  add("drain", "Mpls", drain, {1'000'000});
  add("drainLookups", "Mpls", drainLookups, {1'000'000});
  return true;
}();

}  // namespace
}  // namespace Mpls
