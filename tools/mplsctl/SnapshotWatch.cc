#include "tools/mplsctl/SnapshotWatch.h"

#include <algorithm>
#include <utility>

namespace MplsCtl {

namespace {

using Texts = SnapshotWatch::Texts;

std::string textOf(const RecordView& record, const Cell& cell) {
  std::string text(record.text(cell));
  std::ranges::replace(text, elementEnd, '/');
  return text;
}

/// "via 10.0.0.1 push 200/300, via ...": the items of a list of records.
std::string itemsText(const RecordView& record, const Cell& list, const Column& column) {
  const auto items = column.items();
  std::string text;
  for (std::size_t i = 0; i < list.size; ++i) {
    if (i != 0) text += ", ";
    const auto cells = record.item(list, items.size(), i);
    for (std::size_t j = 0; j < cells.size(); ++j)
      if (cells[j].isValue())
        text.append(j == 0 ? "" : " ").append(items[j].key) += " " + textOf(record, cells[j]);
  }
  return text;
}

Texts cellsOf(const RecordView& record) {
  Texts texts;
  for (std::size_t i = 0; i < record.cells.size(); ++i) {
    const Column& column = record.type->columns[i];
    const bool counts = record.cells[i].isValue() && column.kind != Kind::seconds;
    if (!counts) texts.emplace_back();
    else if (column.kind == Kind::records)
      texts.push_back(itemsText(record, record.cells[i], column));
    else texts.push_back(textOf(record, record.cells[i]));
  }
  return texts;
}

std::string nameOf(const RecordType& type, const Texts& cells) {
  std::string name(type.name);
  for (std::size_t i = 0; i < type.keys; ++i)
    if (!cells[i].empty()) name += " " + cells[i];
  return name;
}

/// What differs in the columns that people see, as "rows 3 -> 4, label none -> 16"; of a record
/// that is new, when `before` is empty, "rows 3, label 16".
std::string differenceText(const RecordType& type, const Texts& before, const Texts& now) {
  std::string text;
  for (std::size_t i = type.keys; i < now.size(); ++i) {
    const Column& column = type.columns[i];
    const bool isSeen = !column.heading.empty() || column.kind == Kind::records;
    const std::string& was = before.empty() ? std::string() : before[i];
    if (!isSeen || was == now[i]) continue;
    text.append(text.empty() ? "" : ", ").append(column.key).append(" ");
    if (!before.empty()) text.append(was.empty() ? "none" : was).append(" -> ");
    text += now[i].empty() ? "none" : now[i];
  }
  return text;
}

}  // namespace

double lookInterval(const Options& options) {
  return options.interval > 0 ? options.interval : 1.0;
}

void SnapshotWatch::look(const std::function<void(const Visit&)>& each) {
  ++looks_;
  each([this](const Record& record) { handle(record); });
  removeUnmet();
  if (looks_ == 1) out_.sync();
  out_.flush();
}

void SnapshotWatch::handle(const Record& record) {
  const RecordView view = record.view();
  if (!isWanted(view, options_.filters)) return;  // any more: as if it were gone
  Texts cells = cellsOf(view);
  const std::string name = nameOf(*view.type, cells);
  const auto known = known_.find(name);
  if (known != known_.end()) return handleMet(record, name, std::move(cells), known->second);
  const std::string line = "added: " + name + ": " + differenceText(*view.type, {}, cells);
  known_.emplace(name, Known{view.type, std::move(cells), looks_});
  if (looks_ == 1) out_.initial(record);
  else out_.changed("added", record, line);
}

void SnapshotWatch::handleMet(const Record& record, const std::string& name, Texts cells,
                              Known& known) {
  if (std::exchange(known.look, looks_) == looks_) return;  // a second one of that key
  const Texts before = std::exchange(known.cells, std::move(cells));
  if (before == known.cells) return;
  const std::string text = differenceText(*known.type, before, known.cells);
  if (options_.json || !text.empty())
    out_.changed("changed", record, "changed: " + name + ": " + text);
}

void SnapshotWatch::removeUnmet() {
  std::erase_if(known_, [this](const auto& one) {
    const Known& known = one.second;
    if (known.look == looks_) return false;
    Record record(*known.type);
    for (std::size_t i = 0; i < known.type->keys; ++i) record.textOrNone(known.cells[i]);
    out_.removed("removed", record, "removed: " + one.first);
    return true;
  });
}

}  // namespace MplsCtl
