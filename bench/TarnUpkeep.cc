#include "bench/TarnUpkeep.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "bench/TableRun.h"
#include "bench/TarnTables.h"
#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/TableReader.h"
#include "platform/tarn/TableWriter.h"

namespace Bench {
namespace {

/// Writes rows of any size, which begin with their keys.
class Writer {
 public:
  Writer(const std::string& folder, std::size_t rowBytes)
      : storage_(Tarn::directoryStorageFactory(folder, {})),
        table_(*storage_, tarnShape(rowBytes), 1, failOnReport),
        rowBytes_(rowBytes) {}

  void put(RowKey key) {
    std::byte* const room = table_.room(rowBytes_);
    std::memset(room, static_cast<int>(++changes_ & 0xff), rowBytes_);
    std::memcpy(room, &key, sizeof key);
    table_.commit();
  }
  /// All of `keys`, in turns; the most that the table held meanwhile.
  double putAll(const std::vector<RowKey>& keys) {
    double peak = 0;
    for (const RowKey key : keys) {
      put(key);
      peak = std::max(peak, held());
      if (changes_ % tarnChangesPerTurn == 0) table_.turn();
    }
    table_.turn();
    return peak;
  }
  double held() const {
    const Tarn::HeadState& state = table_.view().state();
    return static_cast<double>(state.segmentsBytes.load(std::memory_order_relaxed) +
                               state.indexBytes.load(std::memory_order_relaxed));
  }

 private:
  std::unique_ptr<Tarn::Storage> storage_;
  Tarn::TableWriter table_;
  std::size_t rowBytes_;
  std::size_t changes_ = 0;
};

/// In a process of its own: puts all rows so many times, then answers what the table holds and its
/// peak, and stays.
std::unique_ptr<Worker> writerOf(const std::string& folder, std::size_t rowBytes,
                                 std::uint32_t rows) {
  return std::make_unique<Worker>("tarn-writer", writerCore, [=]() -> Worker::Handler {
    const auto writer = std::make_shared<Writer>(folder, rowBytes);
    return [=](const Command& times) -> Answer {
      writer->putAll(tableKeys(rows, 1));
      double peak = 0;
      for (std::uint32_t i = 0; i < times.count; ++i) peak = writer->putAll(tableKeys(rows, 3 + i));
      return {writer->held(), peak};
    };
  });
}

Answer timeReader(const std::string& folder) {
  const auto storage = Tarn::directoryStorageFactory(folder);
  Tarn::KeyList changed;
  const std::uint64_t begin = now();
  Tarn::TableReader reader(*storage, tarnShape(routeBytes), Tarn::TableReader::Follow::yes,
                           failOnReport);
  reader.refresh(Tarn::TableReader::Look::everywhere, &changed);
  const auto attach = static_cast<double>(now() - begin);
  const std::size_t rows = changed.size();
  const double compare =
      medianOfPasses(1, 3, [&] { reader.refresh(Tarn::TableReader::Look::everywhere, &changed); });
  return {attach, compare, static_cast<double>(rows), static_cast<double>(changed.size())};
}

}  // namespace

TarnMemory measureTarnMemory(std::size_t rowBytes, std::uint32_t rows) {
  const Scratch scratch;
  const std::string folder = scratch.path("");
  const auto writer = writerOf(folder, rowBytes, rows);
  const Answer bytes = writer->call({0, 3, 0});
  return {bytes[0] / rows, bytes[1] / rows, bytesIn(folder) / rows};
}

TarnUpkeep measureTarnUpkeep(std::uint32_t rows) {
  const Scratch scratch;
  const std::string folder = scratch.path("");
  auto writer = writerOf(folder, routeBytes, rows);
  writer->call({0, 1, 0});
  Worker reader("tarn-reader", readerCore,
                [&] { return [&](const Command&) { return timeReader(folder); }; });
  const Answer read = reader.call({});
  if (read[2] != rows || read[3] != rows)
    throw std::runtime_error("a reader was told of other rows");
  writer.reset();  // kills it
  Worker next("tarn-writer", writerCore, [&] {
    return [&](const Command&) -> Answer {
      const std::uint64_t begin = now();
      Writer(folder, routeBytes).put(tableKeys(1, 1)[0]);
      return {static_cast<double>(now() - begin)};
    };
  });
  return {read[0], read[1], next.call({})[0]};
}

}  // namespace Bench
