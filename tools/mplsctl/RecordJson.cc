#include "tools/mplsctl/RecordJson.h"

#include <algorithm>

#include "agents/common/JsonWriter.h"

namespace MplsCtl {

namespace {

bool isText(Kind kind) { return kind == Kind::text || kind == Kind::texts; }

/// Writes the members of an object, or the elements of an array.
class Members {
 public:
  Members(Text& out, const JsonForm& form, unsigned level, char begin)
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
    char* at = out_.more(key.size() + 4);
    *at++ = '"';
    at = put(at, key);
    out_.endIs(put(at, form_.pretty ? "\": " : "\":"));
  }
  void end(char with) {
    if (!isEmpty_) form_.newLine(out_, level_);
    out_ += with;
  }

 private:
  Text& out_;
  const JsonForm& form_;
  const unsigned level_;
  bool isEmpty_ = true;
};

void appendQuoted(Text& out, std::string_view text) {
  char* at = out.more(text.size() + 2);
  *at++ = '"';
  at = put(at, text);
  *at++ = '"';
  out.endIs(at);
}

void appendScalar(Text& out, Kind kind, std::string_view text, bool isPlain) {
  if (!isText(kind)) out += text;
  else if (isPlain) appendQuoted(out, text);
  else appendJsonText(out, text);
}

void appendElements(Text& out, Kind kind, std::string_view list, bool isPlain) {
  out += '[';
  bool isFirst = true;
  eachElement(list, [&](std::string_view element) {
    if (!std::exchange(isFirst, false)) out += ',';
    appendScalar(out, kind, element, isPlain);
  });
  out += ']';
}

void appendItems(Text& out, const RecordView& record, const Cell& list,
                 std::span<const Column> columns, const JsonForm& form, unsigned level);

void appendCells(Members& members, Text& out, const RecordView& record, std::span<const Cell> cells,
                 std::span<const Column> columns, const JsonForm& form, unsigned level) {
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (!cells[i].isValue()) continue;
    const Column& column = columns[i];
    const Cell& cell = cells[i];
    members.next(column.key);
    if (column.kind == Kind::records)
      appendItems(out, record, cell, column.items(), form, level + 1);
    else if (column.kind >= Kind::numbers)
      appendElements(out, column.kind, record.text(cell), cell.isPlain);
    else appendScalar(out, column.kind, record.text(cell), cell.isPlain);
  }
}

void appendItems(Text& out, const RecordView& record, const Cell& list,
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

void appendJsonText(Text& out, std::string_view text) {
  if (isPlain(text)) appendQuoted(out, text);
  else out += Agents::jsonText(std::string(text));
}

void appendJson(Text& out, const RecordView& record, std::string_view kind, const JsonForm& form,
                unsigned level) {
  Members members(out, form, level, '{');
  if (!kind.empty()) {
    members.next("kind");
    appendJsonText(out, kind);
  }
  appendCells(members, out, record, record.cells, record.type->columns, form, level);
  members.end('}');
}

void appendJson(std::string& out, const RecordView& record, std::string_view kind) {
  Text text;
  appendJson(text, record, kind);
  out += text.view();
}

void appendJsonKey(std::string& out, const RecordView& record) {
  const JsonForm form;
  Text text;
  Members members(text, form, 0, '{');
  appendCells(members, text, record, record.cells.first(record.type->keys), record.type->columns,
              form, 0);
  members.end('}');
  out += text.view();
}

}  // namespace MplsCtl
