/// What commands show, as they hand it to the output: records of cells, in the order of columns
/// that a command declares once. Tables, JSON, filters and sorting all come from that declaration.
///
/// Thread    any; a record is of one thread.
/// Cost      a record is one buffer that is used again: adding a cell allocates nothing.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/mplsctl/Text.h"

namespace MplsCtl {

enum class Kind : std::uint8_t {
  number,
  seconds,  ///< tables show a tenth, and the unit
  text,
  flag,     ///< true, false
  numbers,  ///< such as a label stack: "200/300" in tables
  labels,   ///< "16, implicit-null" in tables, numbers in JSON
  texts,    ///< "a, b" in tables
  records   ///< records of their own, with the columns `items`: a line each in tables
};

/// One cell of each record.
struct Column {
  std::string_view key;      ///< in JSON, filters and sorting: camelCase
  std::string_view heading;  ///< in tables; empty: not in tables
  Kind kind = Kind::text;
  std::span<const Column> (*items)() = nullptr;  ///< those of `records`
};

/// Records of one kind.
struct RecordType {
  std::string_view name;  ///< "route"; the member "kind" where a command has records of several
  std::span<const Column> columns;
  std::size_t keys = 1;  ///< the first columns that tell one from all others
};

struct Cell {
  enum class State : std::uint8_t {
    none,  ///< absent in JSON, "-" in tables
    value,
    fault,  ///< a value that tells of a problem: red
    remark  ///< for people only: in tables, red, and absent in JSON
  };
  std::uint32_t at = 0;    ///< in the bytes; of `records` the number of the first item's cell
  std::uint32_t size = 0;  ///< bytes; of `records` how many there are
  State state = State::none;
  bool isPlain = false;  ///< none of its bytes (those of the elements of a list) is to be escaped
  bool isValue() const { return state == State::value || state == State::fault; }
};

/// Between the elements of `numbers`, `labels` and `texts`.
constexpr char elementEnd = '\x1f';

/// A record, wherever it lies. Cells of values hold text.
struct RecordView {
  const RecordType* type;
  const char* bytes;
  std::span<const Cell> cells;  ///< one for each column
  std::span<const Cell> items;  ///< those of the list of records

  std::string_view text(const Cell& cell) const { return {bytes + cell.at, cell.size}; }
  /// The cells of one item of the column `of`.
  std::span<const Cell> item(const Cell& of, std::size_t columns, std::size_t number) const {
    return items.subspan(of.at + number * columns, columns);
  }
};

/// Built cell by cell, in the order of the columns; at most one column may be of `records`.
class Record {
 public:
  explicit Record(const RecordType& type) : type_(&type) {}
  Record(const Record&) = delete;  // where the next cell goes is inside
  Record& operator=(const Record&) = delete;

  RecordView view() const { return {type_, bytes_.data(), cells_.all(), items_.all()}; }
  void clear() {
    bytes_.clear();
    cells_.clear();
    items_.clear();
    start_ = 0;
  }

  Record& number(std::uint64_t value) {
    begin();
    appendNumber(value);
    return end();
  }
  Record& seconds(double value) {
    constexpr std::size_t most = 400;
    begin();
    char* const at = bytes_.more(most);
    bytes_.endIs(std::to_chars(at, at + most, value, std::chars_format::fixed, 6).ptr);
    return end();
  }
  Record& text(std::string_view value, Cell::State state = Cell::State::value) {
    begin();
    bytes_ += value;
    isPlain_ = isPlain(value);
    return end(state);
  }
  /// A text of our own, of which isPlain() is known: a name or an address.
  Record& plain(std::string_view value) {
    begin();
    bytes_ += value;
    return end();
  }
  /// None when it is empty.
  Record& textOrNone(std::string_view value) { return value.empty() ? none() : text(value); }
  Record& remark(std::string_view value) { return text(value, Cell::State::remark); }
  Record& flag(bool value) { return plain(value ? "true" : "false"); }
  /// That many cells without a value.
  Record& none(std::size_t count = 1) {
    Cell* const at = target_->more(count);
    std::fill_n(at, count, Cell{});
    target_->endIs(at + count);
    return *this;
  }

  // A list of numbers or texts: listBegin(), elements, listEnd().
  void listBegin() { begin(); }
  void element(std::uint64_t value) {
    appendNumber(value);
    bytes_ += elementEnd;
  }
  void element(std::string_view value) {
    bytes_ += value;
    bytes_ += elementEnd;
    isPlain_ = isPlain_ && isPlain(value);
  }
  Record& listEnd() {
    if (bytes_.size() > start_) bytes_.pop();
    return end();
  }

  // A list of records: recordsBegin(), the cells of each, recordsEnd(). An item without any value
  // is for people only.
  void recordsBegin() {
    cells_.add({static_cast<std::uint32_t>(items_.size()), 0, Cell::State::value});
    target_ = &items_;
  }
  Record& recordsEnd() {
    const std::size_t columns = type_->columns[cells_.size() - 1].items().size();
    target_ = &cells_;
    cells_.back().size = static_cast<std::uint32_t>((items_.size() - cells_.back().at) / columns);
    return *this;
  }

 private:
  void begin() {
    start_ = bytes_.size();
    isPlain_ = true;
  }
  [[gnu::always_inline]] Record& end(Cell::State state = Cell::State::value) {
    target_->add({static_cast<std::uint32_t>(start_),
                  static_cast<std::uint32_t>(bytes_.size() - start_), state, isPlain_});
    return *this;
  }
  void appendNumber(std::uint64_t value) {
    constexpr std::size_t most = 20;
    char* const at = bytes_.more(most);
    bytes_.endIs(std::to_chars(at, at + most, value).ptr);
  }

  const RecordType* type_;
  Text bytes_;
  Room<Cell> cells_;
  Room<Cell> items_;
  Room<Cell>* target_ = &cells_;
  std::size_t start_ = 0;  // of the cell under way
  bool isPlain_ = true;    // so far
};

/// Records kept one behind the other.
class RecordList {
 public:
  void add(const RecordView& record);
  std::size_t size() const { return kept_.size(); }
  RecordView operator[](std::size_t index) const;
  void clear();

 private:
  struct Kept {
    const RecordType* type;
    std::size_t bytes;
    std::size_t cells, items;
    std::uint32_t cellCount, itemCount;
  };
  std::string bytes_;
  std::vector<Cell> cells_;
  std::vector<Kept> kept_;
};

/// Calls `visit` for each element of a list of numbers or texts.
void eachElement(std::string_view list, const auto& visit) {
  while (!list.empty()) {
    const std::size_t end = list.find(elementEnd);
    visit(list.substr(0, end));
    list = end == std::string_view::npos ? std::string_view() : list.substr(end + 1);
  }
}

}  // namespace MplsCtl
