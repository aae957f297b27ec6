#include "tools/mplsctl/RecordTable.h"

#include <algorithm>
#include <utility>

#include "agents/common/Printable.h"
#include "tools/mplsctl/Labels.h"

namespace MplsCtl {

namespace {

constexpr std::size_t none = static_cast<std::size_t>(-1);
constexpr std::size_t heldLines = 1000;
constexpr std::string_view bold = "\x1b[1m", red = "\x1b[31m", plain = "\x1b[0m";

/// Looks at all bytes: without a way out in the middle several are compared at a time.
bool isPrintable(std::string_view text) {
  bool isOther = false;
  for (const char c : text) isOther |= static_cast<unsigned char>(c - 0x20) > 0x5e;
  return !isOther;
}

void appendPrintable(std::string& out, std::string_view text) {
  if (isPrintable(text)) out += text;
  else out += Agents::printable(text);
}

void appendElements(std::string& out, std::string_view list, Kind kind) {
  std::string_view separator;
  eachElement(list, [&](std::string_view element) {
    out += std::exchange(separator, kind == Kind::numbers ? "/" : ", ");
    if (kind == Kind::labels) out += labelName(element);
    else appendPrintable(out, element);
  });
}

}  // namespace

RecordTable::RecordTable(std::string& out, const RecordType& type, bool colour)
    : out_(out), colour_(colour), listColumn_(none) {
  for (std::size_t i = 0; i < type.columns.size(); ++i) {
    const Column& column = type.columns[i];
    if (column.kind != Kind::records) {
      if (!column.heading.empty()) places_.push_back({i, none, column.kind, column.heading});
      continue;
    }
    listColumn_ = i;
    const auto items = column.items();
    listItems_ = items.size();
    for (std::size_t item = 0; item < items.size(); ++item)
      if (!items[item].heading.empty())
        places_.push_back({i, item, items[item].kind, items[item].heading});
  }
  for (const Place& place : places_) widths_.push_back(place.heading.size());
}

void RecordTable::add(const RecordView& record) {
  const Cell* const list = listColumn_ == none ? nullptr : &record.cells[listColumn_];
  const std::size_t lines = list == nullptr ? 1 : std::max<std::size_t>(list->size, 1);
  for (std::size_t i = 0; i < lines; ++i)
    addLine(record, list != nullptr && list->size != 0 ? list : nullptr, i);
}

void RecordTable::addLine(const RecordView& record, const Cell* list, std::size_t number) {
  static constexpr Cell nothing;
  line_.clear();
  fields_.clear();
  for (std::size_t i = 0; i < places_.size(); ++i) {
    const Place& place = places_[i];
    const Cell& cell = place.item == none ? record.cells[place.column]
                       : list == nullptr  ? nothing
                                          : record.item(*list, listItems_, number)[place.item];
    const std::size_t before = line_.size();
    show(record, cell, place.kind);
    const std::size_t size = line_.size() - before;
    widths_[i] = std::max(widths_[i], size);
    fields_.push_back({size, cell.state >= Cell::State::fault});
  }
  endLine();
}

/// Appends a cell as people read it.
void RecordTable::show(const RecordView& record, const Cell& cell, Kind kind) {
  const std::string_view text = record.text(cell);
  if (cell.state == Cell::State::none || (text.empty() && cell.isValue())) line_ += '-';
  else if (cell.state == Cell::State::remark || kind == Kind::text) appendPrintable(line_, text);
  else if (kind == Kind::flag) line_ += text == "true" ? "yes" : "no";
  else if (kind >= Kind::numbers) appendElements(line_, text, kind);
  else if (kind == Kind::seconds) line_.append(text.substr(0, text.find('.') + 2)).append(" s");
  else line_ += text;
}

void RecordTable::endLine() {
  if (!isStreaming_) {
    held_ += line_;
    heldFields_.insert(heldFields_.end(), fields_.begin(), fields_.end());
    if (heldFields_.size() >= heldLines * places_.size()) end();
    return;
  }
  std::size_t at = 0;
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    appendField({line_.data() + at, fields_[i].size}, i, fields_[i].isRed);
    at += fields_[i].size;
  }
}

void RecordTable::appendField(std::string_view text, std::size_t place, bool isRed) {
  const bool isColoured = colour_ && isRed;
  if (isColoured) out_ += red;
  out_ += text;
  if (isColoured) out_ += plain;
  if (place + 1 == places_.size()) out_ += '\n';
  else out_.append(widths_[place] + 2 - text.size(), ' ');
}

void RecordTable::end() {
  if (heldFields_.empty()) return;
  if (colour_) out_ += bold;
  for (std::size_t i = 0; i < places_.size(); ++i) {
    out_ += places_[i].heading;
    if (i + 1 < places_.size()) out_.append(widths_[i] + 2 - places_[i].heading.size(), ' ');
  }
  if (colour_) out_ += plain;
  out_ += '\n';
  std::size_t at = 0;
  for (std::size_t i = 0; i < heldFields_.size(); ++i) {
    const Field& field = heldFields_[i];
    appendField({held_.data() + at, field.size}, i % places_.size(), field.isRed);
    at += field.size;
  }
  held_.clear();
  heldFields_.clear();
  isStreaming_ = true;
}

}  // namespace MplsCtl
