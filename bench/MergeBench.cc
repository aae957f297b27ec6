/// The merge of MPLS routes at the size of a large switch: a full pass, one change, and the memory
/// of a route. Times are per route (`pass`) and per change.
///
/// The peer of the full pass is what one would write by hand for this one purpose: a loop over
/// absl::flat_hash_map that finds the keys which exactly one input has. It keeps nothing from which
/// it could follow a change, which the machine does.
#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <typeindex>
#include <utility>
#include <vector>

#include "bench/Passes.h"
#include "mpls/entities/Registration.h"
#include "mpls/routeconfig/RouteConfigMergeSm.h"
#include "mpls/routeconfig/RouteConfigMounter.h"
#include "platform/centrum/LocalEntityManager.h"

namespace Mpls {

/// Peers hash their keys as they do best.
template <class H>
H AbslHashValue(H h, const RouteKey& key) {
  return H::combine(std::move(h), key.topLabel().value(), key.metric().value());
}

namespace {

using Bench::measurePasses;
using Bench::memoryInUse;
using Bench::shuffled;

constexpr std::uint32_t inputCount = 4;

Via via(std::uint32_t outLabel) {
  return Via(Netbase::IpGenAddr("10.0.0.1"), Netbase::swap_, outLabel, false);
}

RouteKey key(std::uint32_t i, std::uint8_t metric = 0) { return {16 + i, metric}; }

/// A database with a static and three dynamic inputs, which hold `n` routes together. One route in
/// a hundred has a key that the next input has, too.
class Inputs {
 public:
  explicit Inputs(std::uint32_t n) {
    registerEntityTypes(registry_);
    dir = Forma::ptrCast<Forma::Dir>(em->newEntity(RouteConfigMounter::directory(), "Forma::Dir"));
    for (std::uint32_t i = 0; i < inputCount; ++i) all[i] = input(i);
    for (const std::uint32_t i : shuffled(n, 1)) {
      const std::uint32_t keyOf = i % 100 == 99 ? (i + 1) % n : i;
      all[i % inputCount]->routeIs(key(keyOf))->viaIs(via(i % 1000), true);
    }
  }
  ~Inputs() { em->close(); }

  /// The whole start of the machine: its pass over the static input, mounts, and dynamic inputs.
  Forma::Ptr<RouteConfigMergeSm> merge() {
    auto sm = routeConfigMergeSmFactory(routeConfigFactory("config"), dir, all[0], em);
    loop_.runUntilIdle();
    return sm;
  }

 private:
  Forma::Ptr<RouteConfigInput> input(std::uint32_t i) {
    const std::string path = i == 0 ? "routing/mpls/route/input/static"
                                    : std::string(RouteConfigMounter::directory().view()) +
                                          "dynamic" + std::to_string(i);
    return Forma::ptrCast<RouteConfigInput>(em->newEntity(path, "Mpls::RouteConfigInput"));
  }

  Kiln::EventLoop loop_;
  Forma::TypeRegistry registry_;

 public:
  Forma::Ptr<Centrum::LocalEntityManager> em = Centrum::localEntityManagerFactory(loop_, registry_);
  Forma::Ptr<Forma::Dir> dir;
  std::array<Forma::Ptr<RouteConfigInput>, inputCount> all;
};

/// Inputs are made once for each size and never freed.
Inputs& inputsOf(std::uint32_t n) {
  static auto* const made = new absl::flat_hash_map<std::uint32_t, std::unique_ptr<Inputs>>;
  auto& inputs = (*made)[n];
  if (!inputs) inputs = std::make_unique<Inputs>(n);
  return *inputs;
}

void pass(benchmark::State& state, std::uint32_t n) {
  Inputs& inputs = inputsOf(n);
  measurePasses(state, n, [&] { return inputs.merge(); });
}

using Table = absl::flat_hash_map<RouteKey, const Route*>;

/// Where a second input claims a key, null takes the route's place until the end.
Table mergedByHand(const std::array<Table, inputCount>& inputs) {
  Table merged;
  for (const Table& input : inputs)
    for (const auto& [at, route] : input) {
      const auto [claim, first] = merged.try_emplace(at, route);
      if (!first) claim->second = nullptr;
    }
  absl::erase_if(merged, [](const auto& claim) { return claim.second == nullptr; });
  return merged;
}

void passByHand(benchmark::State& state, std::uint32_t n) {
  Inputs& inputs = inputsOf(n);
  std::array<Table, inputCount> tables;
  for (std::uint32_t i = 0; i < inputCount; ++i)
    for (const auto& one : inputs.all[i]->routeIteratorConst())
      tables[i].emplace(one.key, one.value.get());
  if (mergedByHand(tables).size() != inputs.merge()->routeConfig()->routes())
    return state.SkipWithError("the merges differ");
  measurePasses(state, n, [&] { return mergedByHand(tables); });
}

constexpr std::uint32_t fewRoutes = 100;
constexpr std::uint32_t batch = 1'000;

/// Changes of inputs that a machine follows, of `spread` out of `n` routes in a random order. With
/// the same few routes changed in a small and in a large table, the times say what the number of
/// the other routes costs; with changes all over a large one, what its cache misses cost. What a
/// change needs for the first time at a key is allocated before.
template <class Change>
void measureChanges(benchmark::State& state, std::uint32_t n, std::uint32_t spread, Change change) {
  Inputs& inputs = inputsOf(n);
  const auto sm = inputs.merge();
  auto numbers = shuffled(n, 2);
  numbers.resize(spread);
  std::size_t at = 0;
  const auto next = [&] {
    const std::uint32_t i = numbers[at];
    at = at + 1 == numbers.size() ? 0 : at + 1;
    change(*inputs.all[i % inputCount], i);
  };
  static std::map<std::tuple<std::type_index, std::uint32_t, std::uint32_t>, bool> warm;
  if (!std::exchange(warm[{typeid(Change), n, spread}], true))
    for (std::uint32_t i = 0; i < spread; ++i) next();
  while (state.KeepRunningBatch(batch))
    for (std::uint32_t i = 0; i < batch; ++i) next();
}

/// A route comes, with a via, and goes.
void changeRoutes(benchmark::State& state, std::uint32_t n, std::uint32_t spread) {
  const Via v = via(100);
  measureChanges(state, n, spread, [&](RouteConfigInput& input, std::uint32_t i) {
    input.newRoute(key(i, 1))->newVia(v, true);
    input.routeDel(key(i, 1));
  });
}
void addDelete(benchmark::State& state, std::uint32_t n) { changeRoutes(state, n, fewRoutes); }
void addDeleteAll(benchmark::State& state, std::uint32_t n) { changeRoutes(state, n, n); }

/// A second via of a route comes and goes.
void changeVias(benchmark::State& state, std::uint32_t n, std::uint32_t spread) {
  const Via v = via(5000);
  measureChanges(state, n, spread, [&](RouteConfigInput& input, std::uint32_t i) {
    Route* const route = input.routeFind(key(i));
    if (route == nullptr) return;  // one in a hundred stands elsewhere
    route->newVia(v, true);
    route->viaDel(v);
  });
}
void viaChange(benchmark::State& state, std::uint32_t n) { changeVias(state, n, fewRoutes); }
void viaChangeAll(benchmark::State& state, std::uint32_t n) { changeVias(state, n, n); }

/// Of a route with one via in an input, all told.
void memory(benchmark::State& state, std::uint32_t n) {
  const auto order = shuffled(n, 1);
  std::size_t bytes = 0;
  for (auto _ : state) {
    const std::size_t before = memoryInUse();
    const auto input = routeConfigInputFactory("static");
    for (const std::uint32_t i : order) input->newRoute(key(i))->newVia(via(i % 1000), true);
    bytes = memoryInUse() - before;
  }
  state.counters["bytes"] = static_cast<double>(bytes) / n;
}

using Operation = void (*)(benchmark::State&, std::uint32_t);

void add(const char* op, const char* who, Operation measure, std::vector<std::uint32_t> sizes) {
  for (const std::uint32_t n : sizes)
    benchmark::RegisterBenchmark(
        (std::string("Merge/") + op + '/' + who + '/' + std::to_string(n)).c_str(),
        [=](benchmark::State& state) { measure(state, n); });
}

const bool added = [] {
  add("pass", "Mpls", pass, {1'000'000});
  add("pass", "absl", passByHand, {1'000'000});
  add("addDelete", "Mpls", addDelete, {1'000, 1'000'000});
  add("addDeleteAll", "Mpls", addDeleteAll, {1'000'000});
  add("viaChange", "Mpls", viaChange, {1'000, 1'000'000});
  add("viaChangeAll", "Mpls", viaChangeAll, {1'000'000});
  add("memory", "Mpls", memory, {1'000'000});
  return true;
}();

}  // namespace
}  // namespace Mpls
