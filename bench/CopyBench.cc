/// The commit of a candidate of many routes of which few differ. Times are per route.
///
/// The peer `walk` is the least that finds out what differs: a walk over the source that looks each
/// route up in the destination and compares the two, and changes nothing. `generic` is the same
/// copy without the handler of routes.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "bench/Passes.h"
#include "mpls/routeconfig/CopyHandlerDir.h"

namespace Mpls {
namespace {

using Bench::shuffled;
using Input = Forma::Ptr<RouteConfigInput>;

constexpr std::uint32_t changed = 10;

/// Routes with a via each; of every n / 10 the first leads elsewhere as the generation says.
Input input(std::uint32_t n, std::uint32_t generation, unsigned seed) {
  Input made = routeConfigInputFactory("input");
  for (const std::uint32_t i : shuffled(n, seed)) {
    const std::uint32_t outLabel = 16 + (i % (n / changed) == 0 ? generation : i % 1000);
    const Via via(Netbase::IpGenAddr("10.0.0.1"), Netbase::swap_, outLabel, false);
    made->newRoute(RouteKey(16 + i, 0))->newVia(via, true);
  }
  return made;
}

/// Two candidates that differ in ten routes, and what runs: the first.
struct Inputs {
  explicit Inputs(std::uint32_t n)
      : candidates{input(n, 2000, 1), input(n, 2001, 2)}, running(input(n, 2000, 3)) {}
  Input candidates[2];
  Input running;
};

/// Hears of the routes that differ.
struct Told : RouteConfigInput::NotifieeConst {
  void onRoute(const RouteKey&) override { ++changes; }
  std::size_t changes = 0;
};

/// `copy(dest, src)` brings the other candidate in, again and again: each time ten routes get a via
/// and lose one.
template <class Copy>
void measureCopies(benchmark::State& state, std::uint32_t n, Copy copy) {
  const Inputs inputs(n);
  Told told;
  told.notifierIs(inputs.running);
  std::size_t copies = 0;
  while (state.KeepRunningBatch(n)) copy(inputs.running, inputs.candidates[++copies % 2]);
  if (told.changes != copies * changed * 2) state.SkipWithError("told of what does not differ");
}

void handled(benchmark::State& state, std::uint32_t n) {
  const auto dir = copyHandlerDirFactory("mpls");
  dir->newCopyHandler();
  Session::CopyHandlers handlers;
  handlers.addAllOf(dir);
  measureCopies(state, n, [&](const Input& dest, const Input& src) {
    Session::EntityCopy(handlers).copyEntity(dest, src);
  });
}

void generic(benchmark::State& state, std::uint32_t n) {
  const Session::CopyHandlers none;
  measureCopies(state, n, [&](const Input& dest, const Input& src) {
    Session::EntityCopy(none).copyEntity(dest, src);
  });
}

/// How many routes of `src` stand in `dest` in the same form.
std::size_t equalRoutes(const RouteConfigInput& dest, const RouteConfigInput& src) {
  std::size_t equal = 0;
  for (const auto& one : src.routeIteratorConst()) {
    const Route* const there = dest.routeFind(one.key);
    if (there != nullptr && there->sameContent(*one.value)) ++equal;
  }
  return equal;
}

void walk(benchmark::State& state, std::uint32_t n) {
  const Inputs inputs(n);
  std::size_t equal = n - changed;
  while (state.KeepRunningBatch(n)) equal = equalRoutes(*inputs.running, *inputs.candidates[1]);
  if (equal != n - changed) state.SkipWithError("other routes differ");
}

void add(const char* who, void (*measure)(benchmark::State&, std::uint32_t), std::uint32_t n) {
  const std::string name = std::string("Copy/tenChanged/") + who + '/' + std::to_string(n);
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) { measure(state, n); });
}

const bool added = [] {
  add("Mpls", handled, 250'000);
  add("walk", walk, 250'000);
  add("generic", generic, 250'000);
  return true;
}();

}  // namespace
}  // namespace Mpls
