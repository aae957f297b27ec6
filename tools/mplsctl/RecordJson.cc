#include "tools/mplsctl/RecordJson.h"

#include <algorithm>

#include "agents/common/JsonWriter.h"

namespace MplsCtl {

namespace {

bool isPlain(std::string_view text) {
  return std::ranges::all_of(text, [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x20 && byte < 0x7f && c != '"' && c != '\\';
  });
}

bool isText(Kind kind) { return kind == Kind::text || kind == Kind::texts; }

/// Writes the members of an object, or the elements of an array.
class Members {
 public:
  Members(std::string& out, const JsonForm& form, unsigned level, char begin)
      : out_(out), form_(form), level_(level) {
    out_ += begin;
  }
  void next() {
    if (!isEmpty_) out_ += ',';
    isEmpty_ = false;
    form_.newLine(out_, level_ + 1);
  }
  void next(std::string_view key) {
    next();
    out_ += '"';
    out_ += key;
    out_ += form_.pretty ? "\": " : "\":";
  }
  void end(char with) {
    if (!isEmpty_) form_.newLine(out_, level_);
    out_ += with;
  }

 private:
  std::string& out_;
  const JsonForm& form_;
  const unsigned level_;
  bool isEmpty_ = true;
};

void appendScalar(std::string& out, Kind kind, std::string_view text) {
  if (isText(kind)) appendJsonText(out, text);
  else out += text;
}

void appendElements(std::string& out, Kind kind, std::string_view list) {
  out += '[';
  bool isFirst = true;
  eachElement(list, [&](std::string_view element) {
    if (!std::exchange(isFirst, false)) out += ',';
    appendScalar(out, kind, element);
  });
  out += ']';
}

void appendItems(std::string& out, const RecordView& record, const Cell& list,
                 std::span<const Column> columns, const JsonForm& form, unsigned level);

void appendCells(Members& members, std::string& out, const RecordView& record,
                 std::span<const Cell> cells, std::span<const Column> columns, const JsonForm& form,
                 unsigned level) {
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (!cells[i].isValue()) continue;
    const Column& column = columns[i];
    members.next(column.key);
    if (column.kind == Kind::records)
      appendItems(out, record, cells[i], column.items(), form, level + 1);
    else if (column.kind >= Kind::numbers) appendElements(out, column.kind, record.text(cells[i]));
    else appendScalar(out, column.kind, record.text(cells[i]));
  }
}

void appendItems(std::string& out, const RecordView& record, const Cell& list,
                 std::span<const Column> columns, const JsonForm& form, unsigned level) {
  Members array(out, form, level, '[');
  for (std::size_t i = 0; i < list.size; ++i) {
    const std::span<const Cell> cells = record.item(list, columns.size(), i);
    if (std::ranges::none_of(cells, &Cell::isValue)) continue;
    array.next();
    Members members(out, form, level + 1, '{');
    appendCells(members, out, record, cells, columns, form, level + 1);
    members.end('}');
  }
  array.end(']');
}

}  // namespace

void appendJsonText(std::string& out, std::string_view text) {
  if (!isPlain(text)) {
    out += Agents::jsonText(std::string(text));
    return;
  }
  out += '"';
  out += text;
  out += '"';
}

void appendJson(std::string& out, const RecordView& record, std::string_view kind,
                const JsonForm& form, unsigned level) {
  Members members(out, form, level, '{');
  if (!kind.empty()) {
    members.next("kind");
    appendJsonText(out, kind);
  }
  appendCells(members, out, record, record.cells, record.type->columns, form, level);
  members.end('}');
}

void appendJsonKey(std::string& out, const RecordView& record) {
  const JsonForm form;
  Members members(out, form, 0, '{');
  appendCells(members, out, record, record.cells.first(record.type->keys), record.type->columns,
              form, 0);
  members.end('}');
}

}  // namespace MplsCtl
