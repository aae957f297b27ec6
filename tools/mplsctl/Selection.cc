#include "tools/mplsctl/Selection.h"

#include <algorithm>
#include <utility>

namespace MplsCtl {

namespace {

/// Where a key is found: a column, and the one of its items, if it is of these.
struct Found {
  const Column* column = nullptr;  // that of the value
  std::size_t cell = 0;
  std::size_t item = 0;
  std::size_t items = 0;  // how many columns items have; 0: it is of the record itself
};

Found findKey(const RecordType& type, std::string_view key) {
  for (std::size_t i = 0; i < type.columns.size(); ++i) {
    const Column& column = type.columns[i];
    if (column.kind != Kind::records) {
      if (column.key == key) return {&column, i, 0, 0};
      continue;
    }
    const auto items = column.items();
    for (std::size_t item = 0; item < items.size(); ++item)
      if (items[item].key == key) return {&items[item], i, item, items.size()};
  }
  return {};
}

bool hasValue(const RecordView& record, const Cell& cell, Kind kind, std::string_view value) {
  if (!cell.isValue()) return false;
  if (kind < Kind::numbers) return record.text(cell) == value;
  bool found = false;
  eachElement(record.text(cell), [&](std::string_view one) { found = found || one == value; });
  return found;
}

bool holds(const RecordView& record, const Filter& filter) {
  const Found found = findKey(*record.type, filter.key);
  if (found.column == nullptr) return filter.key == "kind" && record.type->name == filter.value;
  const Cell& cell = record.cells[found.cell];
  if (found.items == 0) return hasValue(record, cell, found.column->kind, filter.value);
  for (std::size_t i = 0; i < cell.size; ++i)
    if (hasValue(record, record.item(cell, found.items, i)[found.item], found.column->kind,
                 filter.value))
      return true;
  return false;
}

double numberFrom(std::string_view text) {
  double value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

/// What a record is sorted by: that of its first item, if it is in the items.
const Cell* sortCell(const RecordView& record, const Found& found) {
  if (found.column == nullptr) return nullptr;
  const Cell& cell = record.cells[found.cell];
  if (found.items == 0) return cell.isValue() ? &cell : nullptr;
  const Cell* const first =
      cell.size == 0 ? nullptr : &record.item(cell, found.items, 0)[found.item];
  return first != nullptr && first->isValue() ? first : nullptr;
}

}  // namespace

Filter filterFrom(std::string_view text, bool* isComplete) {
  const std::size_t at = text.find('=');
  *isComplete = at != std::string_view::npos && at != 0;
  if (!*isComplete) return {std::string(text), {}};
  return {std::string(text.substr(0, at)), std::string(text.substr(at + 1))};
}

std::string knownKeys(RecordTypes types) {
  std::string known = types.size() > 1 ? "kind" : "";
  std::vector<std::string_view> seen;
  const auto add = [&](const Column& column) {
    if (std::ranges::find(seen, column.key) != seen.end()) return;
    seen.push_back(column.key);
    known.append(known.empty() ? "" : ", ").append(column.key);
  };
  for (const RecordType* const type : types)
    for (const Column& column : type->columns) {
      if (column.kind != Kind::records) add(column);
      else
        for (const Column& item : column.items()) add(item);
    }
  return known;
}

bool isKnownKey(RecordTypes types, std::string_view key) {
  if (key == "kind" && types.size() > 1) return true;
  return std::ranges::any_of(
      types, [key](const RecordType* type) { return findKey(*type, key).column != nullptr; });
}

bool isWanted(const RecordView& record, const std::vector<Filter>& filters) {
  return std::ranges::all_of(filters, [&](const Filter& filter) { return holds(record, filter); });
}

bool isNamed(const RecordView& record, const std::vector<std::string>& key) {
  for (std::size_t i = 0; i < key.size(); ++i)
    if (i >= record.type->keys || record.text(record.cells[i]) != key[i]) return false;
  return true;
}

std::vector<std::size_t> sorted(const RecordList& records, std::string_view key, bool descending) {
  struct Entry {
    std::size_t number;
    bool isThere = false;
    double value = 0;
    std::string_view text = {};
  };
  std::vector<Entry> entries(records.size());
  for (std::size_t i = 0; i < records.size(); ++i) {
    const RecordView record = records[i];
    const Found found = findKey(*record.type, key);
    const Cell* const cell = sortCell(record, found);
    entries[i] = {i};
    if (cell == nullptr) continue;
    entries[i].isThere = true;
    entries[i].text = record.text(*cell);
    const bool isNumber = found.column->kind == Kind::number || found.column->kind == Kind::seconds;
    if (isNumber) entries[i].value = numberFrom(std::exchange(entries[i].text, {}));
  }
  std::ranges::stable_sort(entries, [descending](const Entry& a, const Entry& b) {
    if (a.isThere != b.isThere) return a.isThere;
    const Entry& low = descending ? b : a;
    const Entry& high = descending ? a : b;
    return low.value != high.value ? low.value < high.value : low.text < high.text;
  });
  std::vector<std::size_t> numbers;
  numbers.reserve(entries.size());
  for (const Entry& entry : entries) numbers.push_back(entry.number);
  return numbers;
}

}  // namespace MplsCtl
