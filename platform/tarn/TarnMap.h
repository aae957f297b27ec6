/// A table of rows by key, in memory of this process or shared with others (TarnTable).
///
/// Thread    that of the table.
/// Cost      a lookup finds the record and copies the row out of it: no allocation, no system call.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <span>
#include <utility>

#include "platform/tarn/RowForm.h"
#include "platform/tarn/TableCursor.h"
#include "platform/tarn/TarnTable.h"

namespace Tarn {

/// Rows are copied in and out. A row whose bytes are damaged reads as absent, and is reported.
template <class KeyType, class RowType>
class TarnMap : public TarnTable {
 public:
  using Key = KeyType;
  using Row = RowType;
  using Form = RowForm<Row>;
  static_assert(std::is_same_v<Key, typename Form::Key>, "the key is not that of the row");

  /// `name` must live as long as the map.
  explicit TarnMap(std::string_view name) : TarnTable(Form::kind, name) {}

  /// The row of `key`, if there is one; else `row` is of no use.
  bool find(const Key& key, Row* row) const {
    std::byte packed[Form::keyBytes];
    Form::encodeKey(key, packed);
    return take(view().template find<Form::keyBytes, Form::rowBytes>(packed), packed, row);
  }
  /// The row of `key`; a default row when there is none.
  Row get(const Key& key) const {
    Row row;
    if (!find(key, &row)) row = Row();
    return row;
  }
  /// The same into `buffer`.
  void safeLookup(const Key& key, bool& found, Row* buffer) const {
    found = find(key, buffer);
    if (!found) *buffer = Row();
  }
  /// Looks up all keys, as if by safeLookup(); returns how many were found. Much faster than one by
  /// one. `rows` and `found` are as long as `keys`.
  std::size_t safeLookupBatch(std::span<const Key> keys, std::span<Row> rows,
                              std::span<bool> found) const;

  /// Inserts the row, or puts it in place of the one with its key. Raises AccessException where the
  /// table is read-only, and what TableWriter raises; then nothing has changed.
  void safeWrite(const Row& row) {
    TableWriter& to = writer();
    Form::encode(row, to.room(Form::size(row)));
    to.commit();
  }
  void directCommit(const Row& row) { safeWrite(row); }
  /// Writes all rows, one after the other, as if by safeWrite(). Twice as fast as one by one where
  /// tables are large. What raises leaves those before it written.
  void safeWriteBatch(std::span<const Row> rows);

  /// Removes the row of `key` after copying it to `removed` (a default row when there is none);
  /// whether there was one. Raises as safeWrite() does.
  bool safeRemove(const Key& key, Row* removed) {
    mayWrite();
    bool found = false;
    safeLookup(key, found, removed);
    return mode() == Mode::memory && rows() == 0 ? false : erase(key);
  }
  /// Removes without looking at the row.
  bool erase(const Key& key) {
    std::byte packed[Form::keyBytes];
    Form::encodeKey(key, packed);
    return writer().remove(packed);
  }

  // ---- Walks: see TableCursor for what they meet ------------------------------------------------

  struct Entry {
    Key key;
    Row value;
  };
  class Iterator {
   public:
    explicit Iterator(const TarnMap& map) : map_(&map), cursor_(Form::keyBytes) { ++*this; }
    const Entry& operator*() const { return entry_; }
    const Entry* operator->() const { return &entry_; }
    /// To the next row that is there now.
    Iterator& operator++() {
      do {
        packed_ = cursor_.next(map_->view());
      } while (packed_ != nullptr && !(Form::decodeKey(packed_, &entry_.key) && found()));
      return *this;
    }
    friend bool operator==(const Iterator& walk, std::default_sentinel_t) {
      return walk.packed_ == nullptr;
    }

   private:
    bool found() {
      return map_->take(map_->view().template find<Form::keyBytes, Form::rowBytes>(packed_),
                        packed_, &entry_.value);
    }

    const TarnMap* map_;
    TableCursor cursor_;
    const std::byte* packed_ = nullptr;
    Entry entry_;
  };
  /// `Owner` is what keeps the map alive.
  template <class Owner>
  struct Range {
    Owner owner;
    const TarnMap& map;
    Iterator begin() const { return Iterator(map); }
    std::default_sentinel_t end() const { return {}; }
  };

  Iterator begin() const { return Iterator(*this); }
  std::default_sentinel_t end() const { return {}; }
  /// Removes the row at which a walk stands; the walk goes on behind it.
  bool safeRemove(const Iterator& at, Row* removed) { return safeRemove(at->key, removed); }

  /// Calls `visit` for the key of each row; it may change the table.
  template <class Visit>
  void eachKey(Visit visit) const {
    TableCursor cursor(Form::keyBytes);
    Key key;
    while (const std::byte* packed = cursor.next(view()))
      if (Form::decodeKey(packed, &key)) visit(std::as_const(key));
  }

 private:
  bool take(const Record& record, const std::byte* key, Row* row) const {
    if (!record) return false;
    if (Form::decode(record.row, record.bytes, row)) [[likely]]
      return true;
    rowIsDamaged(key);
    return false;
  }
};

template <class KeyType, class RowType>
void TarnMap<KeyType, RowType>::safeWriteBatch(std::span<const Row> rows) {
  constexpr std::size_t most = 16;
  std::array<std::byte, most * Form::keyBytes> packed;
  for (; !rows.empty(); rows = rows.subspan(std::min(most, rows.size()))) {
    const std::span<const Row> now = rows.first(std::min(most, rows.size()));
    for (std::size_t i = 0; i < now.size(); ++i)
      Form::encodeKey(now[i].key(), packed.data() + i * Form::keyBytes);
    writer().expect(packed.data(), now.size());
    for (const Row& row : now) safeWrite(row);
  }
}

template <class KeyType, class RowType>
std::size_t TarnMap<KeyType, RowType>::safeLookupBatch(std::span<const Key> keys,
                                                       std::span<Row> rows,
                                                       std::span<bool> found) const {
  constexpr std::size_t most = 32;
  std::array<std::byte, most * Form::keyBytes> packed;
  std::array<Record, most> records;
  std::size_t all = 0;
  for (std::size_t done = 0; done < keys.size(); done += most) {
    const std::size_t now = std::min(most, keys.size() - done);
    for (std::size_t i = 0; i < now; ++i)
      Form::encodeKey(keys[done + i], packed.data() + i * Form::keyBytes);
    const TableView::Pin pin(view());  // a record that is found may let go of another's segment
    view().template findBatch<Form::keyBytes, Form::rowBytes>(packed.data(), now, records.data());
    for (std::size_t i = 0; i < now; ++i) {
      Row& row = rows[done + i];
      found[done + i] = take(records[i], packed.data() + i * Form::keyBytes, &row);
      if (!found[done + i]) row = Row();
      else ++all;
    }
  }
  return all;
}

}  // namespace Tarn
