#include "tools/mplsctl/RecordTable.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "agents/common/Printable.h"
#include "tools/mplsctl/Labels.h"

namespace MplsCtl {

namespace {

constexpr std::size_t none = static_cast<std::size_t>(-1);
constexpr std::size_t heldLines = 1000;
constexpr std::size_t gap = 2;  // between columns
constexpr std::string_view bold = "\x1b[1m", red = "\x1b[31m", plain = "\x1b[0m";

void appendElements(std::string& out, std::string_view list, Kind kind) {
  std::string_view separator;
  eachElement(list, [&](std::string_view element) {
    out += std::exchange(separator, kind == Kind::numbers ? "/" : ", ");
    out += kind == Kind::labels ? std::string(labelName(element)) : Agents::printable(element);
  });
}

/// Whether people read the bytes of a cell as they are.
bool isShownAsIs(const Cell& cell, std::string_view text, Kind kind) {
  if (!cell.isPlain || text.empty()) return false;
  if (kind <= Kind::text) return kind != Kind::seconds || cell.state == Cell::State::remark;
  return kind == Kind::numbers && text.find(elementEnd) == std::string_view::npos;
}

}  // namespace

RecordTable::RecordTable(Text& out, const RecordType& type, bool colour)
    : out_(out), colour_(colour), listColumn_(none) {
  for (std::size_t i = 0; i < type.columns.size(); ++i) {
    const Column& column = type.columns[i];
    if (column.kind != Kind::records) {
      if (!column.heading.empty()) places_.push_back({i, none, column.kind, column.heading, {}});
      continue;
    }
    listColumn_ = i;
    const auto items = column.items();
    listItems_ = items.size();
    for (std::size_t item = 0; item < items.size(); ++item)
      if (!items[item].heading.empty())
        places_.push_back({i, item, items[item].kind, items[item].heading, {}});
  }
  for (Place& place : places_) widen(place, place.heading.size());
  fields_.resize(places_.size());
}

void RecordTable::widen(Place& place, std::size_t width) {
  lineBytes_ += width - place.width;
  place.width = width;
}

void RecordTable::add(const RecordView& record) {
  const Cell* const list = listColumn_ == none ? nullptr : &record.cells[listColumn_];
  const std::size_t lines = list == nullptr ? 1 : std::max<std::size_t>(list->size, 1);
  for (std::size_t i = 0; i < lines; ++i)
    addLine(record, list != nullptr && list->size != 0 ? list : nullptr, i);
}

void RecordTable::addLine(const RecordView& record, const Cell* list, std::size_t number) {
  static constexpr Cell nothing;
  const std::span<const Cell> item =
      list == nullptr ? std::span<const Cell>() : record.item(*list, listItems_, number);
  for (std::size_t i = 0; i < places_.size(); ++i) {
    Place& place = places_[i];
    const Cell& cell = place.item == none ? record.cells[place.column]
                       : list == nullptr  ? nothing
                                          : item[place.item];
    Field& field = fields_[i];
    field.text = show(record, cell, place);
    field.isRed = cell.state >= Cell::State::fault;
    if (field.text.size() > place.width) widen(place, field.text.size());
  }
  if (isStreaming_) appendLine();
  else holdLine();
}

/// A cell as people read it, valid until the next line.
std::string_view RecordTable::show(const RecordView& record, const Cell& cell, Place& place) {
  const std::string_view text = record.text(cell);
  if (isShownAsIs(cell, text, place.kind)) return text;
  if (cell.state == Cell::State::none || (text.empty() && cell.isValue())) return "-";
  if (cell.state == Cell::State::remark || place.kind == Kind::text)
    place.shown = Agents::printable(text);
  else if (place.kind == Kind::flag) return text == "true" ? "yes" : "no";
  else if (place.kind == Kind::seconds)
    place.shown.assign(text.substr(0, text.find('.') + 2)).append(" s");
  else {
    place.shown.clear();
    appendElements(place.shown, text, place.kind);
  }
  return place.shown;
}

void RecordTable::holdLine() {
  for (const Field& field : fields_) {
    held_ += field.text;
    heldFields_.push_back({field.text.size(), field.isRed});
  }
  if (heldFields_.size() >= heldLines * places_.size()) end();
}

/// All is blank before the fields are put into their places; of the last one nothing follows.
void RecordTable::appendLine() {
  constexpr std::size_t colours = red.size() + plain.size();
  const std::size_t most = lineBytes_ + places_.size() * (gap + colours) + 1;
  char* at = out_.more(most);
  std::memset(at, ' ', most);
  char* end = at;
  for (std::size_t i = 0; i < places_.size(); ++i) {
    const bool isColoured = colour_ && fields_[i].isRed;
    end = put(isColoured ? put(at, red) : at, fields_[i].text);
    if (isColoured) end = put(end, plain);
    at += places_[i].width + gap + (isColoured ? colours : 0);
  }
  *end++ = '\n';
  out_.endIs(end);
}

void RecordTable::end() {
  if (heldFields_.empty()) return;
  for (std::size_t i = 0; i < places_.size(); ++i) fields_[i] = {places_[i].heading, false};
  if (colour_) out_ += bold;
  appendLine();
  if (colour_) {
    out_.pop();
    (out_ += plain) += '\n';
  }
  std::string_view held = held_;
  for (std::size_t i = 0; i < heldFields_.size(); ++i) {
    fields_[i % places_.size()] = {held.substr(0, heldFields_[i].size), heldFields_[i].isRed};
    held.remove_prefix(heldFields_[i].size);
    if ((i + 1) % places_.size() == 0) appendLine();
  }
  held_.clear();
  heldFields_.clear();
  isStreaming_ = true;
}

}  // namespace MplsCtl
