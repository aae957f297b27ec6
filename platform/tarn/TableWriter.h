/// The writing side of one table.
///
/// Thread    one, that of the agent's loop. One writer at a time (WriterDirectory sees to that).
/// Crash     the process may die at any instruction: readers go on, the next writer adopts rows.
/// Fork      a writer that a forked child inherits finds nothing there and refuses to write.
/// Errors    std::system_error when there is no space or the kernel refuses, RangeException for a
///           row or a shape that is not allowed, ResourceException when the index cannot grow; all
///           of them before anything changes.
/// Memory    in the steady state segments of at most 1.45 times the records and 1.5 segments, at no
///           time more than twice the records and two segments.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/Export.h"
#include "platform/forma/Errors.h"
#include "platform/tarn/Format.h"
#include "platform/tarn/Storage.h"
#include "platform/tarn/TableView.h"

namespace Tarn {

/// A table has no room of a kind that no memory can give.
class MPLS_EXPORT ResourceException : public Forma::Exception {
 public:
  using Exception::Exception;
  ~ResourceException() override;
};

/// How many keys TableWriter::expect() takes at once.
inline constexpr std::size_t expectedKeys = 32;

class MPLS_EXPORT TableWriter {
 public:
  /// Adopts the table of that name in `storage`, or makes it, with an index for `initialRows`.
  /// A head of an older layout is moved aside, and that is reported. Raises RangeException for a
  /// shape that is not allowed or no initial rows, AccessException, which names both hashes, when
  /// the rows there have another schema. `storage` must outlive the writer.
  TableWriter(Storage& storage, TableShape shape, std::size_t initialRows, Report report);
  /// The rows stay.
  ~TableWriter();
  TableWriter(const TableWriter&) = delete;
  TableWriter& operator=(const TableWriter&) = delete;

  const TableShape& shape() const;
  /// Reading goes through here; the writer sees each of its writes at once.
  const TableView& view() const;
  std::size_t rows() const;

  /// Says that rows of these keys, which stand one behind the other, are written or removed next:
  /// what that will touch is on its way from memory meanwhile, for all of them at the same time.
  /// Changes nothing; keys above `expectedKeys` are not looked at.
  void expect(const std::byte* keys, std::size_t count) const;
  /// Room for a row of that many bytes, to be filled before commit(). Valid until the next call of
  /// any function here. Raises RangeException for a row above the limit or, where rows have one
  /// size, of another.
  std::byte* room(std::size_t rowBytes);
  /// Inserts the row that stands in the room, or puts it in place of the one with its key.
  void commit();
  /// Both at once.
  void put(const std::byte* row, std::size_t rowBytes);
  /// Removes the row of a key; whether there was one. The row stays readable in the view while a
  /// Pin holds it.
  bool remove(const std::byte* key);

  /// To be called once in each turn of the loop in which something was written, and now and then:
  /// says that the writer is there, notices files that others removed, finishes cleaning.
  void turn();
  /// Moves the rows into a new generation of files, which readers follow, being told of no change.
  /// Happens by itself when numbers run out, files were taken away or the index is mostly empty.
  void renew();
  /// Reads every row; drops those that are damaged, reports them, and returns how many.
  std::size_t verify();

  /// Test only: the numbers from which segments and sequences go on, to see them run out.
  void numbersAre(std::uint32_t nextSegment, std::uint64_t nextSequence);

 private:
  class State;
  std::unique_ptr<State> state_;
};

}  // namespace Tarn
