/// The MPLS agent's view of a large LFIB: what a route and an adjacency cost to make, and their
/// memory. Times are per element.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "bench/Passes.h"
#include "mpls/entities/Status.h"

namespace Mpls {
namespace {

using Bench::memoryInUse;
using Bench::shuffled;

void route(Status& status, std::uint32_t i) {
  status.lfibRouteIs(LFib::Route(RouteKey(16 + i, 0), AdjacencyKey(i % 100'000, mplsIp_),
                                 LFib::lfibSourceLdp_, FecId(i)));
}
/// With `vias` next hops.
template <std::uint32_t vias>
void adjacency(Status& status, std::uint32_t i) {
  ViaSet set;
  for (std::uint32_t v = 0; v < vias; ++v)
    set.newVia(Via(Netbase::IpAddr(i + v), Netbase::swap_, 16 + i, false), 1);
  status.newLfibAdjacency(i, set);
}

void measure(benchmark::State& state, std::uint32_t n, void (*make)(Status&, std::uint32_t)) {
  const auto order = shuffled(n, 1);
  std::size_t bytes = 0;
  while (state.KeepRunningBatch(n)) {
    const std::size_t before = memoryInUse();
    auto status = statusFactory("status");
    for (const std::uint32_t i : order) make(*status, i);
    state.PauseTiming();
    bytes = memoryInUse() - before;
    status = nullptr;
    state.ResumeTiming();
  }
  state.counters["bytes"] = static_cast<double>(bytes) / n;
}

void add(const char* op, std::uint32_t n, void (*make)(Status&, std::uint32_t)) {
  const std::string name = std::string("Status/") + op + "/Mpls/" + std::to_string(n);
  benchmark::RegisterBenchmark(name.c_str(),
                               [=](benchmark::State& state) { measure(state, n, make); });
}

const bool added = [] {
  add("route", 1'000'000, route);
  add("adjacency1", 100'000, adjacency<1>);
  add("adjacency2", 100'000, adjacency<2>);
  return true;
}();

}  // namespace
}  // namespace Mpls
