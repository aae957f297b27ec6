/// Tables in shared memory: one process writes, others look up and hear of changes. Each process
/// has a core of its own; docs/performance.md tells what the rows are.
///
/// Peers     seqlock, absl, lmdb, lmdbRenewed, boost   other tables: Tables.h
///           redis, ovsdb   HSET and PUBLISH; transactions and a monitor: RedisPeer.h, OvsdbPeer.h
///           ping           a message over a raw socket: HopPeer.h
#include <string>

#include "bench/ChainFigures.h"
#include "bench/Figures.h"
#include "bench/HopPeer.h"
#include "bench/OvsdbPeer.h"
#include "bench/RedisPeer.h"
#include "bench/Tables.h"
#include "bench/TarnChain.h"
#include "bench/TarnUpkeep.h"

namespace Bench {
namespace {

bool isOurs(const TableKind& kind) { return std::string(kind.name) == "Tarn"; }

/// Adds rows called <group><operation>/<kind>/<rows>.
class TableFigures {
 public:
  TableFigures(std::string group, const TableKind& kind, std::uint32_t rows)
      : group_(std::move(group)),
        kind_(kind.name),
        rows_(std::to_string(rows)),
        reads_(series<TableReads>([=] { return kind.reads(rows); })),
        writes_(series<TableWrites>([=] { return kind.writes(rows); })) {}

  void add(const std::string& op, double TableReads::*figure, const std::string& suffix = "") {
    addFigure(name(op) + suffix, reads_, figure);
  }
  void add(const std::string& op, double TableWrites::*figure, const std::string& suffix = "",
           Unit unit = Unit::nanoseconds) {
    addFigure(name(op) + suffix, writes_, figure, unit);
  }

 private:
  std::string name(const std::string& op) const { return group_ + op + '/' + kind_ + '/' + rows_; }

  std::string group_;
  std::string kind_;
  std::string rows_;
  SeriesPtr<TableReads> reads_;
  SeriesPtr<TableWrites> writes_;
};

void addTable(const TableKind& kind, std::uint32_t rows) {
  TableFigures table("Tarn/", kind, rows);
  table.add("lookup", &TableReads::lookup);
  if (isOurs(kind)) table.add("lookup", &TableReads::batch, "x16");
  if (kind.isShared) table.add("lookup", &TableReads::whileWriting, "+writer");
  table.add("dependent", &TableReads::dependent);
  table.add("miss", &TableReads::miss);
  table.add("iterate", &TableReads::iterate);
  if (!kind.writes) return;
  table.add("overwrite", &TableWrites::overwrite);
  if (isOurs(kind)) table.add("overwrite", &TableWrites::batch, "x16");
  table.add("insert", &TableWrites::insert);
  table.add("erase", &TableWrites::erase);
  table.add("files", &TableWrites::fileBytes, "", Unit::bytes);
}

void addSets(const TableKind& kind, std::uint32_t rows) {
  TableFigures table("Tarn/set.", kind, rows);
  table.add("lookup", &TableReads::lookup);
  table.add("dependent", &TableReads::dependent);
  if (!kind.writes) return;
  table.add("overwrite", &TableWrites::overwrite);
  if (isOurs(kind)) table.add("overwrite", &TableWrites::batch, "x16");
}

void addMemory(const std::string& group, std::size_t rowBytes, std::uint32_t rows) {
  const auto memory = series<TarnMemory>([=] { return measureTarnMemory(rowBytes, rows); });
  const std::string end = "/Tarn/" + std::to_string(rows);
  addFigure(group + "held" + end, memory, &TarnMemory::held, Unit::bytes, 2);
  addFigure(group + "peak" + end, memory, &TarnMemory::peak, Unit::bytes, 2);
  addFigure(group + "rowFiles" + end, memory, &TarnMemory::files, Unit::bytes, 2);
}

void addAudience(unsigned running, unsigned stopped, const std::string& size) {
  addFigure("Tarn/audience/Tarn/" + size,
            [=](std::size_t /*repetition*/) { return measureTarnAudience(running, stopped); });
}

const bool added = [] {
  for (const std::uint32_t rows : {10'000U, 1'000'000U})
    for (const TableKind& kind :
         {tarnTable<routeBytes>(), seqlockTable<routeBytes>(), abslTable<routeBytes>(),
          lmdbTable<routeBytes>(), lmdbRenewedTable<routeBytes>(), boostTable<routeBytes>()})
      addTable(kind, rows);
  for (const std::uint32_t rows : {10'000U, 100'000U})
    for (const TableKind& kind :
         {tarnTable<setBytes>(), seqlockTable<setBytes>(), abslTable<setBytes>(),
          lmdbTable<setBytes>(), boostTable<setBytes>()})
      addSets(kind, rows);

  for (const std::uint32_t rows : {10'000U, 100'000U, 1'000'000U})
    addRates<TarnChain>("Tarn/heard.", "Tarn", rows);
  addRates<RedisChain>("Tarn/heard.", "redis", 10'000);
  addRates<RedisChain>("Tarn/heard.", "redis", 100'000);
  addRates<OvsdbChain>("Tarn/heard.", "ovsdb", 10'000);
  addLatencies<TarnChain>("Tarn/heard.", "Tarn");
  addLatencies<PingChain>("Tarn/heard.", "ping");
  addAudience(0, 0, "0");
  addAudience(1, 0, "1");
  addAudience(8, 0, "8");
  addAudience(4, 4, "4+4stopped");

  addMemory("Tarn/", routeBytes, 1'000'000);
  addMemory("Tarn/", routeBytes, 10);
  addMemory("Tarn/set.", setBytes, 100'000);
  addMemory("Tarn/set.", setBytes, 10);
  const auto upkeep = series<TarnUpkeep>([] { return measureTarnUpkeep(1'000'000); });
  addFigure("Tarn/attach/Tarn/1000000", upkeep, &TarnUpkeep::attach);
  addFigure("Tarn/compare/Tarn/1000000", upkeep, &TarnUpkeep::compare);
  addFigure("Tarn/restart/Tarn/1000000", upkeep, &TarnUpkeep::restart);
  return true;
}();

}  // namespace
}  // namespace Bench
