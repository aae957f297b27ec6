#include "platform/centrum/CellWriter.h"

#include <algorithm>
#include <utility>

namespace Centrum {

using Forma::LogOp;

bool CellWriter::write(const Cell& cell) {
  if (std::exchange(finished_, false)) records_.clear();
  if (!enterParent(cell)) return false;
  if (cell.kind == LinkKind::child) {
    enter(LogOp::create, cell, cell.value());
  } else {
    const LogOp op = cell.alive() ? LogOp::put : LogOp::erase;
    Forma::appendRecord(records_, {op, cell.id.member, cell.id.key, cell.value()});
  }
  return true;
}

bool CellWriter::enterParent(const Cell& cell) {
  const Cell* at = cell.id.parent;
  if (at == open_.back()) return true;
  missing_.clear();
  auto found = open_.end();
  for (;; at = at->id.parent) {
    found = std::find(open_.begin(), open_.end(), at);
    if (found != open_.end()) break;
    if (form_ == forReaders && at->kind != LinkKind::child) return false;
    missing_.push_back(at);
  }
  leaveTo(static_cast<std::size_t>(found - open_.begin()) + 1);
  for (auto one = missing_.rbegin(); one != missing_.rend(); ++one) {
    if (form_ == forReaders) enter(LogOp::create, **one, (*one)->value());
    else enter(LogOp::renew, **one, {});
  }
  return true;
}

void CellWriter::enter(LogOp op, const Cell& cell, std::string_view value) {
  Forma::appendRecord(records_, {op, cell.id.member, cell.id.key, value});
  open_.push_back(&cell);
}

void CellWriter::leaveTo(std::size_t depth) {
  for (; open_.size() > depth; open_.pop_back())
    Forma::appendRecord(records_, {LogOp::end, 0, {}, {}});
}

std::string_view CellWriter::finish() {
  if (std::exchange(finished_, true)) records_.clear();
  leaveTo(1);
  return records_;
}

}  // namespace Centrum
