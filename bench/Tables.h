/// Tables that one process writes and another reads: what of them is measured, and who is.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <random>
#include <stdexcept>
#include <vector>

#include "bench/Row.h"
#include "platform/forma/Hash.h"

namespace Bench {

/// Rows of a label route's size, and of a full via set's.
constexpr std::size_t routeBytes = 48;
constexpr std::size_t setBytes = 1560;

template <std::size_t rowBytes>
struct TableRow {
  RowKey key;
  std::uint64_t zero;  ///< always 0, which neither compiler nor processor knows
  std::uint64_t sequence;
  std::array<std::uint64_t, rowBytes / 8 - 3> rest;

  /// Row `key` as of its `sequence`-th change.
  static TableRow make(RowKey key, std::uint64_t sequence) {
    TableRow row{key, 0, sequence, {}};
    for (std::uint64_t& word : row.rest) word = key + sequence;
    row.rest.back() = Forma::mix(key, sequence);
    return row;
  }
  /// Whether it is one of those, and not parts of two.
  bool isWhole() const {
    return rest.back() == Forma::mix(key, sequence) &&
           (rest.size() == 1 || rest.front() == key + sequence);
  }
};
static_assert(sizeof(TableRow<routeBytes>) == routeBytes && sizeof(TableRow<setBytes>) == setBytes);

/// The keys of a table of `count` rows in a random order; `away` makes them absent ones that lie
/// among the others.
std::vector<RowKey> tableKeys(std::uint32_t count, unsigned seed, std::uint32_t away = 0);

/// Nanoseconds of one operation by a process that reads; 0 where there is no such operation.
struct TableReads {
  double lookup = 0;        ///< a row is found and copied
  double dependent = 0;     ///< the same when its key depends on the row before
  double miss = 0;          ///< there is no such row
  double batch = 0;         ///< a row of a batch of 16
  double iterate = 0;       ///< a row of a walk over all
  double whileWriting = 0;  ///< `lookup` when the writer writes as fast as it can
};

/// Nanoseconds of one operation of the writer, after all rows were overwritten three times.
struct TableWrites {
  double overwrite = 0;
  double batch = 0;  ///< `overwrite` of a row of 16 of which the table is told first
  double insert = 0;
  double erase = 0;
  double overwriteWhileReading = 0;  ///< when a reader looks up as fast as it can
  double fileBytes = 0;              ///< of the table in memory, for each row
};

/// A way to keep a table.
struct TableKind {
  const char* name;
  bool isShared;  ///< by the writer and a reader
  std::function<TableReads(std::uint32_t rows)> reads;
  std::function<TableWrites(std::uint32_t rows)> writes;  ///< may be missing
};

/// Ours.
template <std::size_t rowBytes>
TableKind tarnTable();
/// What the memory allows: one slot for each row, at the place of its hash, with a sequence lock;
/// the number of slots is fixed.
template <std::size_t rowBytes>
TableKind seqlockTable();
/// absl::flat_hash_map, which the reader has to itself.
template <std::size_t rowBytes>
TableKind abslTable();
/// LMDB without sync, mapped for writing, 100 changes a transaction. One transaction for a thousand
/// lookups, or one for each.
template <std::size_t rowBytes>
TableKind lmdbTable();
template <std::size_t rowBytes>
TableKind lmdbRenewedTable();
/// boost::unordered_map in a Boost.Interprocess segment, under a sharable mutex.
template <std::size_t rowBytes>
TableKind boostTable();

}  // namespace Bench
