/// The reading side of one table in another process: attaches, follows, tells what changed.
///
/// Thread    one.
/// Restart   when the writer goes the rows stay. A table of a new generation is attached by the
///           next refresh(); only what differs counts as changed.
/// Memory    with Follow::yes a copy of the index; and rows that were deleted or moved stay mapped
///           until the next refresh().
/// Cost      refresh() where nothing changed: two loads. Where something did: a look at the summary
///           counters, one for each 64 pages of the index, and at what they lead to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/Export.h"
#include "platform/tarn/Format.h"
#include "platform/tarn/Storage.h"
#include "platform/tarn/TableView.h"

namespace Tarn {

/// Keys, one behind the other.
struct KeyList {
  std::size_t keyBytes = 0;
  std::vector<std::byte> bytes;

  std::size_t size() const { return keyBytes == 0 ? 0 : bytes.size() / keyBytes; }
  const std::byte* operator[](std::size_t i) const { return bytes.data() + i * keyBytes; }
};

class MPLS_EXPORT TableReader {
 public:
  enum class Follow : bool { no, yes };

  /// Attaches to nothing yet. One that does not follow offers lookups only, and keeps no copy of
  /// the index. `storage` must outlive the reader.
  TableReader(const Storage& storage, TableShape shape, Follow follow, Report report);
  ~TableReader();
  TableReader(const TableReader&) = delete;
  TableReader& operator=(const TableReader&) = delete;

  const TableShape& shape() const;
  /// One object as long as the reader lives. Rows found in it are there until the next refresh();
  /// with a Pin as long as that is there.
  /// The table as it is at this moment.
  const TableView& view() const;
  /// The table as the last refresh() told it: what came later is not found there, not even for a
  /// moment, so that whoever is told of keys and reads rows whenever he likes misses nothing. With
  /// Follow::no the same as view(). Valid until the next refresh().
  const TableView& told() const;
  /// Asks memory for what a lookup of `key` in told() reads first, if that is likely to be far off.
  void prefetch(const std::byte* key) const;
  bool isAttached() const { return view().isAttached(); }
  /// Why it is not attached, or not to the newest generation: "layout 3, need 4", "no such file",
  /// what right is missing; empty when all is well. Changes are also reported, each once.
  const std::string& problem() const;

  /// How far to look for changes.
  enum class Look {
    counted,    ///< where counters say that something changed: enough as long as the writer lives
    everywhere  ///< at all words: after the writer died, or nobody knows what was missed
  };
  /// Attaches if there is a table, or a newer generation of it, to attach to (that files were taken
  /// away or cut short is noticed when it looks everywhere); then appends the keys of the rows that
  /// came, changed (were written again, even with the same content) or went since the last call,
  /// each once. The first time that is every row. A row that was only moved is not among them, nor
  /// one that came and went meanwhile. Lookups see at least what was found here. With Follow::no it
  /// appends nothing.
  /// Raises nothing but std::bad_alloc; what goes wrong is reported and tried again next time.
  void refresh(Look look, KeyList* changed);
  /// As refresh(), when nobody listens: changes until now count as told. Much cheaper.
  void refreshSilently();

  /// Test only, before the first look: after how many passes over a directory that changes all the
  /// time a look is given up, so that it happens often.
  void passLimitIs(unsigned limit);

 private:
  class State;
  std::unique_ptr<State> state_;
};

}  // namespace Tarn
