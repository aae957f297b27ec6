/// One table of an agent, whatever its row type: where its rows live, and who may write them.
///
/// A table begins in memory of this process, made when the first row is written. It may be attached
/// to a directory, as its writer or as a reader; then its rows are those of the directory.
///
/// Thread    that of the loop of the directory that it is attached to.
/// Memory    some 60 bytes until it is used.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/tarn/ReaderDirectory.h"
#include "platform/tarn/RowForm.h"
#include "platform/tarn/TableView.h"
#include "platform/tarn/WriterDirectory.h"

namespace Tarn {

class MPLS_EXPORT TarnTable {
 public:
  enum class Mode : std::uint8_t {
    memory,  ///< rows of this process alone
    writer,  ///< writes the table of a directory
    reader   ///< reads the table of a directory
  };

  /// A table of that name, which must live as long as the table does (the name of a member).
  TarnTable(const RowKind& kind, std::string_view name);
  TarnTable(const TarnTable&) = delete;
  TarnTable& operator=(const TarnTable&) = delete;
  /// Detaches.
  ~TarnTable();

  std::string_view name() const { return name_; }
  /// What the table looks like to other processes.
  TableShape shape() const;
  const RowKind& kind() const { return kind_; }
  Mode mode() const { return mode_; }
  /// Sizes for a table that this one makes from now on.
  void geometryIs(const Geometry& geometry) { geometry_ = geometry; }
  /// For a reader, as at the end of the writer's last turn.
  std::size_t rows() const;

  /// Where lookups go. One of nothing while there are no rows, or the directory is gone.
  const TableView& view() const {
    if (mode_ != Mode::memory && isGone()) [[unlikely]]
      return nothing();
    return *view_;
  }

  /// Becomes the writer of its table in `directory`, which is adopted, or made for so many rows.
  /// The rows that it has give way to those there. Raises what WriterDirectory::table() raises,
  /// RangeException for no initial rows, AccessException when it is attached already; then nothing
  /// has changed. The directory may go first: writing raises AccessException from then on.
  void attachWriter(WriterDirectory& directory, std::size_t initialRows);
  /// Becomes a reader of its table in `directory`, be it there or not (yet).
  void attachReader(ReaderDirectory& directory, TableListener* listener = nullptr);
  /// Lets go of the directory; the rows there stay, the table is empty and in memory again.
  void detach();

  /// Reports that something read from the table is damaged: what and where. The caller goes on.
  void corruptionDetected(const std::string& message) const { view().report(message); }
  /// The same of a row whose bytes are whole but make no row.
  void rowIsDamaged(const std::byte* key) const;

  // ---- For TarnMap and those who attach several tables at once ----------------------------------

  /// What writes the table; made first when it is in memory. Raises AccessException for a reader,
  /// and for a writer whose directory is gone.
  TableWriter& writer() {
    if (TableWriter* const found = presentWriter()) [[likely]]
      return *found;
    return madeWriter();
  }
  /// Raises what writer() raises, and makes nothing.
  void mayWrite() const;

  /// Where rows live. Goes with the last who holds it.
  struct Home {
    Mode mode = Mode::memory;
    std::unique_ptr<Storage> storage;  ///< in memory
    std::unique_ptr<TableWriter> memory;
    std::unique_ptr<WriterHandle> written;
    std::unique_ptr<ReaderHandle> read;
    std::string path;  ///< of the directory

    const TableView& rows() const;
  };
  /// A home in a directory, to be moved to. Raise what attachWriter() and attachReader() raise.
  std::unique_ptr<Home> homeIn(WriterDirectory& directory, std::size_t initialRows) const;
  std::unique_ptr<Home> homeIn(ReaderDirectory& directory, TableListener* listener) const;
  /// Moves; returns where the rows were, which may be nowhere. Null: moves to nowhere.
  std::unique_ptr<Home> moveTo(std::unique_ptr<Home> next) noexcept;
  /// The keys of rows that are here and not there, there and not here, or different.
  KeyList difference(const Home* there) const;

 private:
  static const TableView& nothing();
  void refuseAttached() const;
  bool isGone() const {
    return mode_ == Mode::writer ? home_->written->get() == nullptr : home_->read->get() == nullptr;
  }
  TableWriter* presentWriter() const {
    if (mode_ == Mode::writer) return home_->written->get();
    return mode_ == Mode::memory && home_ ? home_->memory.get() : nullptr;
  }
  TableWriter& madeWriter();

  const RowKind& kind_;
  std::string_view name_;
  const TableView* view_;
  std::unique_ptr<Home> home_;  // null while it is in memory and unused
  Geometry geometry_;
  Mode mode_ = Mode::memory;
};

}  // namespace Tarn
