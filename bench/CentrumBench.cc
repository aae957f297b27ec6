/// Replication: a change on its way from the writer's entity to the reader's notifiee, through the
/// server, over Unix sockets. Each process has a core of its own; docs/performance.md tells what
/// the rows are.
///
/// Peers     redis    HSET and PUBLISH, HGET: RedisPeer.h
///           ovsdb    transactions and a monitor: OvsdbPeer.h
///           hops     messages over raw sockets through three processes: HopPeer.h
///           floor    building the entities from a raw stream: RouteMounts.h
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>

#include "bench/CentrumChain.h"
#include "bench/ChainFigures.h"
#include "bench/HopPeer.h"
#include "bench/OvsdbPeer.h"
#include "bench/RedisPeer.h"
#include "bench/RouteMounts.h"
#include "bench/ServerLoad.h"

namespace Bench {
namespace {

constexpr std::uint32_t routes = 250'000;

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
    addFigure("Centrum/" + op + "/Centrum/1000000", of(&Endurance::tenth), Unit::bytes, 2);
    addFigure("Centrum/" + op + "/Centrum/10000000", of(&Endurance::all), Unit::bytes, 2);
  };
  addPeak("serverMemory", &Peaks::server);
  addPeak("writerMemory", &Peaks::writer);
  addPeak("readerMemory", &Peaks::reader);
  addPeak("log", &Peaks::log);
}

// ---- All ---------------------------------------------------------------------------------------

const bool added = [] {
  addRates<CentrumChain>("Centrum/", "Centrum", 10'000);
  addRates<CentrumChain>("Centrum/", "Centrum", 100'000);
  addRates<CentrumChain>("Centrum/", "Centrum", 1'000'000);
  addRates<HopChain>("Centrum/", "hops", 1'000'000);
  addRates<RedisChain>("Centrum/", "redis", 10'000);
  addRates<RedisChain>("Centrum/", "redis", 100'000);
  addRates<OvsdbChain>("Centrum/", "ovsdb", 10'000);

  addLatencies<CentrumChain>("Centrum/", "Centrum");
  addLatencies<HopChain>("Centrum/", "hops");
  addLatencies<RedisChain>("Centrum/", "redis");
  addLatencies<OvsdbChain>("Centrum/", "ovsdb");

  const auto mounts = series<MountTimes>([] { return measureMounts(routes); });
  addFigure("Centrum/mount/Centrum/250000", mounts, &MountTimes::first);
  addFigure("Centrum/mount/floor/250000", mounts, &MountTimes::floor);
  addFigure("Centrum/mount/Centrum/reconnect", mounts, &MountTimes::reconnect);
  addFigure("Centrum/mount/Centrum/resume", mounts, &MountTimes::resume);

  const auto loads = series<ServerLoad>(measureServerLoad);
  addFigure("Centrum/serverCpu/Centrum/20", loads, &ServerLoad::cpuAlone);
  addFigure("Centrum/serverCpu/Centrum/20+slow", loads, &ServerLoad::cpuWithSlow);
  addFigure("Centrum/serverHolds/Centrum/20", loads, &ServerLoad::memoryAlone, Unit::bytes);
  addFigure("Centrum/serverHolds/Centrum/20+slow", loads, &ServerLoad::memoryWithSlow, Unit::bytes);

  addEndurance();
  return true;
}();

}  // namespace
}  // namespace Bench
