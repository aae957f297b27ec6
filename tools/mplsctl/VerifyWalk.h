/// Walks through the rows of a table, and looks many keys up at a time: what a thorough check of
/// large tables is made of.
///
/// Thread    that of the table's directory.
/// Writer    may live and write meanwhile.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "platform/tarn/TableCursor.h"
#include "platform/tarn/TarnMap.h"
#include "tools/mplsctl/VerifyMarks.h"

namespace MplsCtl {

/// So many lookups are under way together.
inline constexpr std::size_t lookupsAtOnce = 32;

/// Calls visit(row, record) for each row of a table; returns how many there are. Those whose values
/// are none are counted in `strange`.
template <class Map, class Visit>
std::uint64_t eachRow(const Map& map, std::uint64_t& strange, Visit visit) {
  using Form = typename Map::Form;
  std::array<std::byte, lookupsAtOnce * Form::keyBytes> keys;
  std::array<Tarn::Record, lookupsAtOnce> records;
  std::size_t held = 0;
  std::uint64_t rows = 0;
  typename Map::Row row;
  const auto flush = [&] {
    map.view().template findBatch<Form::keyBytes, Form::rowBytes>(keys.data(), held,
                                                                  records.data());
    for (std::size_t i = 0; i < held; ++i) {
      if (!records[i]) continue;
      ++rows;
      if (Form::decode(records[i].row, records[i].bytes, &row))
        visit(std::as_const(row), records[i]);
      else ++strange;
    }
    held = 0;
  };
  Tarn::TableCursor cursor(Form::keyBytes);
  while (const std::byte* const key = cursor.next(map.view())) {
    std::copy_n(key, Form::keyBytes, keys.data() + held * Form::keyBytes);
    if (++held == lookupsAtOnce) flush();
  }
  flush();
  return rows;
}

/// Lookups that are gathered, and done many at a time: what is found is marked, and of what is not
/// the owner is told.
template <class Map, class Owner>
class Lookups {
 public:
  using Form = typename Map::Form;

  explicit Lookups(const Map& map) : map_(map), pin_(map.view()), marks_(map.view()) {}

  const Map& map() const { return map_; }
  RowMarks& marks() { return marks_; }
  template <class Missing>
  void add(const typename Map::Key& key, const Owner& owner, Missing missing) {
    Form::encodeKey(key, keys_.data() + held_ * Form::keyBytes);
    owners_[held_] = owner;
    if (++held_ == lookupsAtOnce) flush(missing);
  }
  template <class Missing>
  void flush(Missing missing) {
    map_.view().template findBatch<Form::keyBytes, Form::rowBytes>(keys_.data(), held_,
                                                                   found_.data());
    for (std::size_t i = 0; i < held_; ++i) {
      if (found_[i]) marks_.mark(found_[i].row);
      else missing(owners_[i]);
    }
    held_ = 0;
  }

 private:
  const Map& map_;
  const Tarn::TableView::Pin pin_;
  RowMarks marks_;
  std::array<std::byte, lookupsAtOnce * Form::keyBytes> keys_;
  std::array<Owner, lookupsAtOnce> owners_;
  std::array<Tarn::Record, lookupsAtOnce> found_;
  std::size_t held_ = 0;
};

}  // namespace MplsCtl
