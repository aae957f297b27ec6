/// Replication: a change on its way from the writer's entity to the reader's notifiee, through the
/// server, over Unix sockets. Each process has a core of its own; docs/performance.md tells what
/// the rows are.
///
/// Peers     redis    HSET and PUBLISH, HGET: RedisPeer.h
///           ovsdb    transactions and a monitor: OvsdbPeer.h
///           hops     messages over raw sockets through three processes: HopPeer.h
///           floor    building the entities from a raw stream: RouteMounts.h
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/CentrumChain.h"
#include "bench/HopPeer.h"
#include "bench/OvsdbPeer.h"
#include "bench/RedisPeer.h"
#include "bench/RouteMounts.h"
#include "bench/ServerLoad.h"

namespace Bench {
namespace {

constexpr int repetitions = 3;
constexpr std::uint32_t paced = 1'500;           // changes of a paced measurement
constexpr std::uint32_t leastChanges = 100'000;  // of one at full speed
constexpr std::uint32_t routes = 250'000;

/// A measurement that yields several figures: those of one repetition are taken together.
template <class Result>
class Series {
 public:
  explicit Series(std::function<Result()> measure) : measure_(std::move(measure)) {}
  const Result& at(std::size_t repetition) {
    while (results_.size() <= repetition) results_.push_back(measure_());
    return results_[repetition];
  }

 private:
  std::function<Result()> measure_;
  std::vector<Result> results_;
};
template <class Result>
using SeriesPtr = std::shared_ptr<Series<Result>>;
template <class Result>
SeriesPtr<Result> series(std::function<Result()> measure) {
  return std::make_shared<Series<Result>>(std::move(measure));
}

enum class Unit { nanoseconds, bytes };

/// Registers a row; `figure` gives its value for a repetition.
void add(const std::string& name, std::function<double(std::size_t)> figure,
         Unit unit = Unit::nanoseconds, int times = repetitions) {
  const auto measure = [figure = std::move(figure), unit,
                        repetition = std::size_t{0}](benchmark::State& state) mutable {
    for (auto _ : state) {
      try {
        const double value = figure(repetition++);
        state.SetIterationTime(unit == Unit::nanoseconds ? value * 1e-9 : 0);
        if (unit == Unit::bytes) state.counters["bytes"] = value;
      } catch (const std::exception& problem) {
        state.SkipWithError(problem.what());
        break;
      }
    }
  };
  benchmark::RegisterBenchmark(("Centrum/" + name).c_str(), measure)
      ->Iterations(1)
      ->Repetitions(times)
      ->UseManualTime();
}

/// Adds a row for each of the figures of a series.
template <class Result>
void add(const std::string& name, SeriesPtr<Result> from, double Result::*figure,
         Unit unit = Unit::nanoseconds, int times = repetitions) {
  add(
      name, [=](std::size_t repetition) { return from->at(repetition).*figure; }, unit, times);
}

// ---- Rate --------------------------------------------------------------------------------------

struct Rate {
  double insert;
  double change;
};

/// A table of `rows` rows is filled, and then changed a few times.
template <class Chain>
Rate measureRate(std::uint32_t rows) {
  Chain chain;
  Rate rate{};
  rate.insert = chain.write(rows);
  const std::uint32_t bursts = std::max(1U, leastChanges / rows);
  for (std::uint32_t i = 0; i < bursts; ++i) rate.change += chain.write(rows) / bursts;
  return rate;
}

template <class Chain>
void addRates(const std::string& who, std::uint32_t rows) {
  const auto rates = series<Rate>([=] { return measureRate<Chain>(rows); });
  add("insert/" + who + '/' + std::to_string(rows), rates, &Rate::insert);
  add("change/" + who + '/' + std::to_string(rows), rates, &Rate::change);
}

// ---- Latency -----------------------------------------------------------------------------------

template <class Chain>
Latency measureLatency() {
  Chain chain;
  chain.write(paced);
  return chain.pace(paced);
}

template <class Chain>
void addLatencies(const std::string& who) {
  const auto latencies = series<Latency>(measureLatency<Chain>);
  add("median/" + who + "/1000", latencies, &Latency::median);
  add("p99/" + who + "/1000", latencies, &Latency::p99);
}

// ---- Endurance ---------------------------------------------------------------------------------

/// The most that each holds, in bytes.
struct Peaks {
  double server = 0;
  double writer = 0;
  double reader = 0;
  double log = 0;

  void note(CentrumChain& chain) {
    const auto larger = [](double& peak, std::size_t size) {
      peak = std::max(peak, static_cast<double>(size));
    };
    larger(server, chain.server().memory());
    larger(writer, chain.writer().memory());
    larger(reader, chain.reader().memory());
    larger(log, std::filesystem::file_size(chain.log()));
  }
};

struct Endurance {
  Peaks tenth;
  Peaks all;
};

constexpr std::uint32_t enduringRows = 10'000;
constexpr std::uint32_t enduringChanges = 10'000'000;

Endurance measureEndurance() {
  CentrumChain chain;
  Endurance endurance;
  for (std::uint32_t changed = 0; changed < enduringChanges; changed += enduringRows) {
    chain.write(enduringRows);
    endurance.all.note(chain);
    if (changed < enduringChanges / 10) endurance.tenth = endurance.all;
  }
  return endurance;
}

void addEndurance() {
  const auto endurances = series<Endurance>(measureEndurance);
  const auto addPeak = [&](const std::string& op, double Peaks::*peak) {
    // One run; but there are no medians, which the table shows, of less than two repetitions.
    const auto of = [=](Peaks Endurance::*when) {
      return [=](std::size_t /*repetition*/) { return endurances->at(0).*when.*peak; };
    };
    add(op + "/Centrum/1000000", of(&Endurance::tenth), Unit::bytes, 2);
    add(op + "/Centrum/10000000", of(&Endurance::all), Unit::bytes, 2);
  };
  addPeak("serverMemory", &Peaks::server);
  addPeak("writerMemory", &Peaks::writer);
  addPeak("readerMemory", &Peaks::reader);
  addPeak("log", &Peaks::log);
}

// ---- All ---------------------------------------------------------------------------------------

const bool added = [] {
  addRates<CentrumChain>("Centrum", 10'000);
  addRates<CentrumChain>("Centrum", 100'000);
  addRates<CentrumChain>("Centrum", 1'000'000);
  addRates<HopChain>("hops", 1'000'000);
  addRates<RedisChain>("redis", 10'000);
  addRates<RedisChain>("redis", 100'000);
  addRates<OvsdbChain>("ovsdb", 10'000);

  addLatencies<CentrumChain>("Centrum");
  addLatencies<HopChain>("hops");
  addLatencies<RedisChain>("redis");
  addLatencies<OvsdbChain>("ovsdb");

  const auto mounts = series<MountTimes>([] { return measureMounts(routes); });
  add("mount/Centrum/250000", mounts, &MountTimes::first);
  add("mount/floor/250000", mounts, &MountTimes::floor);
  add("mount/Centrum/reconnect", mounts, &MountTimes::reconnect);
  add("mount/Centrum/resume", mounts, &MountTimes::resume);

  const auto loads = series<ServerLoad>(measureServerLoad);
  add("serverCpu/Centrum/20", loads, &ServerLoad::cpuAlone);
  add("serverCpu/Centrum/20+slow", loads, &ServerLoad::cpuWithSlow);
  add("serverHolds/Centrum/20", loads, &ServerLoad::memoryAlone, Unit::bytes);
  add("serverHolds/Centrum/20+slow", loads, &ServerLoad::memoryWithSlow, Unit::bytes);

  addEndurance();
  return true;
}();

}  // namespace
}  // namespace Bench
