/// What the two processes of a table do that is measured: one writes, one reads.
///
/// A Table has
///   Row            a TableRow
///   Writer         made from a folder and a number of rows: put(row), erase(key), and flush(),
///                  after which readers see all of it; if it likes, expect(keys), which tells it of
///                  the batchRows that are put next
///   Reader         the same: get(key, row), forEach(function of a row); if it likes, begin(),
///                  which is called now and then between lookups, end(), after the last of them,
///                  and getBatch(keys, rows) of batchRows
///   isPrivate      the reader fills a table of its own; there is no writer
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Processes.h"
#include "bench/Tables.h"

namespace Bench {

enum TableTask : std::uint32_t {
  fillTask,       ///< inserts all rows, in another order
  overwriteTask,  ///< overwrites all rows, `count` times; answers the median of a row's time
  expectedTask,   ///< the same by a table that is told what comes
  replaceTask,    ///< erases and inserts a quarter of the rows; answers both times
  pourTask,       ///< overwrites until Gate says stop; answers a row's time
  lookupTask,
  dependentTask,
  missTask,
  batchTask,
  iterateTask,
  verifyTask  ///< looks for rows that were torn
};
constexpr std::size_t batchRows = 16;
template <class Table>
constexpr bool hasBatches = requires(typename Table::Reader table,
                                     std::array<typename Table::Row, batchRows> rows) {
  table.getBatch(nullptr, rows);
};
template <class Table>
constexpr bool hasExpectations = requires(typename Table::Writer table) {
  table.expect(nullptr);
};

/// By which one process tells another when to stop.
struct Gate {
  std::atomic<bool> pouring{false};
  std::atomic<bool> stop{false};
};

/// The median time of a row: passes over `rows` rows, three at least, and as many as take a while.
template <class Pass>
double medianOfPasses(std::size_t rows, std::size_t least, Pass pass) {
  constexpr std::uint64_t aWhile = 150'000'000;  // nanoseconds
  std::vector<double> times;
  const std::uint64_t begin = now();
  for (std::uint64_t last = begin; times.size() < least || last < begin + aWhile;) {
    const std::uint64_t start = now();
    pass();
    last = now();
    times.push_back(static_cast<double>(last - start) / static_cast<double>(rows));
  }
  const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
  std::nth_element(times.begin(), middle, times.end());
  return *middle;
}

// ---- Writing -----------------------------------------------------------------------------------

template <class Table>
class WritingRole {
 public:
  using Row = typename Table::Row;
  WritingRole(const std::string& folder, std::uint32_t rows, Gate& gate)
      : table_(folder, rows), keys_(tableKeys(rows, 1)), gate_(gate) {
    for (unsigned i = 0; i < orders_.size(); ++i) orders_[i] = tableKeys(rows, 10 + i);
  }

  Answer handle(const Command& task) {
    switch (task.what) {
      case fillTask:
        putAll(keys_);
        return {};
      case overwriteTask:
        return {medianOfPasses(keys_.size(), task.count, [this] { putAll(order()); })};
      case expectedTask:
        return {medianOfPasses(keys_.size(), task.count, [this] { putExpected(order()); })};
      case replaceTask:
        return replace();
      case pourTask:
        return pour();
      default:
        throw std::runtime_error("not a task of a writer");
    }
  }

 private:
  /// Another one each time: what is written together must not go together.
  const std::vector<RowKey>& order() { return orders_[next_++ % orders_.size()]; }
  void putAll(const std::vector<RowKey>& keys) {
    ++sequence_;
    for (const RowKey key : keys) table_.put(Row::make(key, sequence_));
    table_.flush();
  }
  void putExpected(const std::vector<RowKey>& keys) {
    ++sequence_;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      if constexpr (hasExpectations<Table>)
        if (i % batchRows == 0 && keys.size() - i >= batchRows) table_.expect(keys.data() + i);
      table_.put(Row::make(keys[i], sequence_));
    }
    table_.flush();
  }
  Answer replace() {
    const auto quarter = static_cast<std::ptrdiff_t>(keys_.size() / 4);
    const std::vector<RowKey>& all = order();
    const std::vector<RowKey> out(all.begin(), all.begin() + quarter);
    std::vector<double> erasing;
    const double both = medianOfPasses(out.size(), 3, [&] {
      const std::uint64_t begin = now();
      for (const RowKey key : out) table_.erase(key);
      table_.flush();
      erasing.push_back(static_cast<double>(now() - begin) / static_cast<double>(out.size()));
      putAll(out);
    });
    std::nth_element(erasing.begin(),
                     erasing.begin() + static_cast<std::ptrdiff_t>(erasing.size() / 2),
                     erasing.end());
    const double erase = erasing[erasing.size() / 2];
    return {erase, both - erase};
  }
  Answer pour() {
    ++sequence_;
    gate_.pouring = true;
    const std::uint64_t begin = now();
    std::size_t done = 0;
    while (!gate_.stop.load(std::memory_order_relaxed)) {
      const RowKey key = orders_[done / keys_.size() % orders_.size()][done % keys_.size()];
      table_.put(Row::make(key, sequence_ + done++));
    }
    table_.flush();
    sequence_ += done;
    return {static_cast<double>(now() - begin) / static_cast<double>(done)};
  }

  typename Table::Writer table_;
  std::vector<RowKey> keys_;
  std::array<std::vector<RowKey>, 4> orders_;  // to overwrite in
  std::size_t next_ = 0;                       // of them
  std::uint64_t sequence_ = 0;
  Gate& gate_;
};

// ---- Reading -----------------------------------------------------------------------------------

template <class Table>
class ReadingRole {
 public:
  using Row = typename Table::Row;
  ReadingRole(const std::string& folder, std::uint32_t rows, Gate& /*gate*/)
      : table_(folder, rows), keys_(tableKeys(rows, 2)), missing_(tableKeys(rows, 5, 1)) {}

  Answer handle(const Command& task) {
    const std::size_t rows = task.what == iterateTask ? keys_.size() : sliceRows();
    return {medianOfPasses(rows, 3, [&] {
      if constexpr (requires { table_.begin(); }) table_.begin();
      if (pass(task.what) != rows) throw std::runtime_error("a reader missed rows");
      if constexpr (requires { table_.end(); }) table_.end();
    })};
  }

 private:
  /// So many keys in a pass; the next pass takes the next ones.
  std::size_t sliceRows() const { return std::min(keys_.size(), std::size_t{10'000}); }
  std::span<const RowKey> slice(const std::vector<RowKey>& keys) {
    if (next_ + sliceRows() > keys.size()) next_ = 0;
    const std::span<const RowKey> taken = std::span(keys).subspan(next_, sliceRows());
    next_ += sliceRows();
    return taken;
  }

  std::size_t pass(std::uint32_t what) {
    switch (what) {
      case lookupTask:
        return lookup(slice(keys_));
      case dependentTask:
        return dependent(slice(keys_));
      case missTask:
        return sliceRows() - lookup(slice(missing_));
      case batchTask:
        return batches(slice(keys_));
      case iterateTask:
        return iterate();
      case verifyTask:
        return verify(slice(keys_));
      default:
        throw std::runtime_error("not a task of a reader");
    }
  }

  /// Calls `each(key)` for all, and lets the table do its housekeeping meanwhile.
  template <class Each>
  void forKeys(std::span<const RowKey> keys, Each each) {
    std::size_t done = 0;
    for (const RowKey key : keys) {
      if constexpr (requires { table_.begin(); })
        if (++done % 1024 == 0) table_.begin();
      each(key);
    }
  }
  std::size_t lookup(std::span<const RowKey> keys) {
    std::size_t found = 0;
    forKeys(keys, [&](RowKey key) {
      Row row;
      found += table_.get(key, row);
      benchmark::DoNotOptimize(row);
    });
    return found;
  }
  std::size_t dependent(std::span<const RowKey> keys) {
    std::size_t found = 0;
    Row row{};
    forKeys(keys, [&](RowKey key) {
      found += table_.get(key + row.zero, row);
      benchmark::DoNotOptimize(row);
    });
    return found;
  }
  std::size_t batches(std::span<const RowKey> keys) {
    std::size_t found = 0;
    if constexpr (hasBatches<Table>) {
      std::array<Row, batchRows> rows;
      for (; !keys.empty(); keys = keys.subspan(batchRows)) {
        found += table_.getBatch(keys.data(), rows);
        benchmark::DoNotOptimize(rows);
      }
    }
    return found;
  }
  std::size_t iterate() {
    std::size_t found = 0;
    table_.forEach([&](const Row& from) {
      Row row = from;
      benchmark::DoNotOptimize(row);
      ++found;
    });
    return found;
  }
  std::size_t verify(std::span<const RowKey> keys) {
    std::size_t found = 0;
    forKeys(keys, [&](RowKey key) {
      Row row;
      found += table_.get(key, row) && row.key == key && row.isWhole();
    });
    return found;
  }

  typename Table::Reader table_;
  std::vector<RowKey> keys_;
  std::vector<RowKey> missing_;
  std::size_t next_ = 0;  // in the order of keys
};

}  // namespace Bench
