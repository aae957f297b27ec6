#include "platform/centrum/ApplyRecords.h"

#include <array>
#include <utility>

#include "platform/forma/Assert.h"
#include "platform/forma/AttributeLog.h"

namespace Centrum {

using Forma::LogOp;
using Forma::LogRecord;

namespace {

/// The cells that a walk over operations is in: the root, then children.
class Place {
 public:
  explicit Place(CellStore& cells, std::uint64_t generation) {
    frames_[0] = {&cells.root(), generation};
  }

  Cell& cell() const { return *frames_[depth_].cell; }
  /// In a renewal: not 0. What is stated in it is of that generation or a later one.
  std::uint64_t generation() const { return frames_[depth_].generation; }
  void enter(Cell& cell, std::uint64_t generation) {
    FORMA_ASSERT_TEXT(depth_ < Forma::logDepthLimit, "depth", "operations were not checked");
    frames_[++depth_] = {&cell, generation};
  }
  void leave() {
    FORMA_ASSERT_TEXT(depth_ > 0, "depth", "operations were not checked");
    --depth_;
  }

 private:
  struct Frame {
    Cell* cell;
    std::uint64_t generation;
  };
  std::array<Frame, Forma::logDepthLimit + 1> frames_;
  unsigned depth_ = 0;
};

class Change {
 public:
  Change(CellStore& cells, bool renew, Sequence at)
      : cells_(cells), at_(at), place_(cells, renew ? cells.nextGeneration() : 0) {}

  bool apply(std::string_view records) {
    Forma::BytesIn in(records);
    while (!in.atEnd()) {
      Step& step = steps_[count_++] = {Forma::takeRecord(in), nullptr};
      const bool element = step.record.op == LogOp::put || step.record.op == LogOp::erase;
      if (!element || count_ == steps_.size() || in.atEnd()) takeSteps();
    }
    dropUnstated();
    return changed_;
  }

 private:
  struct Step {
    LogRecord record;
    Cell* cell;  // null when it was not there, or is not known yet
  };

  /// Applies what was read ahead: elements of one place, and perhaps a child or an end behind them.
  /// Most of the time would go into waiting for memory, so that is asked for all of them at once.
  void takeSteps() {
    const std::size_t count = std::exchange(count_, 0);
    if (count > 1)
      for (std::size_t i = 0; i < count; ++i) steps_[i].cell = find(steps_[i].record);
    for (std::size_t i = 0; i < count; ++i)
      if (steps_[i].cell != nullptr) cells_.prefetch(*steps_[i].cell);
    for (std::size_t i = 0; i < count; ++i) take(steps_[i]);
  }

  void take(const Step& step) {
    switch (step.record.op) {
      case LogOp::put:
        return put(step);
      case LogOp::erase:
        return erase(step);
      case LogOp::create:
        return enter(step, place_.generation());
      case LogOp::renew:
        return enter(step, cells_.nextGeneration());
      case LogOp::end:
        dropUnstated();
        place_.leave();
    }
  }

  void put(const Step& step) {
    Cell& cell = stated(step);
    if (cell.kind == LinkKind::value && cell.value() == step.record.value) return;
    set(cell, LinkKind::value, step.record.value);
    cells_.killBelow(cell, at_);  // only where a value took the place of a child
  }

  void erase(const Step& step) {
    Cell* const cell = step.cell != nullptr ? step.cell : find(step.record);
    if (cell != nullptr && cell->alive()) kill(*cell);
  }

  void enter(const Step& step, std::uint64_t generation) {
    const std::string_view arguments = step.record.value;
    Cell& cell = stated(step);
    if (cell.kind != LinkKind::child) {
      set(cell, LinkKind::child, arguments);
    } else if (cell.value() != arguments) {
      set(cell, LinkKind::child, arguments);
      cells_.restateBelow(cell, at_);  // readers make the child again: it is empty then
    }
    place_.enter(cell, generation);
  }

  Cell* find(const LogRecord& record) const {
    return cells_.find({&place_.cell(), record.member, record.key});
  }
  Cell& stated(const Step& step) {
    const LogRecord& record = step.record;
    Cell& cell =
        step.cell != nullptr
            ? *step.cell
            : cells_.findOrAdd({&place_.cell(), record.member, record.key}, record.value.size());
    if (place_.generation() != 0) cell.stated = place_.generation();
    return cell;
  }

  /// The end of a renewal, or of a child in one.
  void dropUnstated() {
    if (place_.generation() == 0) return;
    for (Cell* cell = place_.cell().firstChild; cell != nullptr; cell = cell->nextSibling)
      if (cell->alive() && cell->stated < place_.generation()) kill(*cell);
  }

  void set(Cell& cell, LinkKind kind, std::string_view value) {
    cells_.set(cell, kind, value, at_);
    changed_ = true;
  }
  void kill(Cell& cell) {
    cells_.kill(cell, at_);
    changed_ = true;
  }

  CellStore& cells_;
  const Sequence at_;
  Place place_;
  bool changed_ = false;
  std::size_t count_ = 0;
  std::array<Step, 16> steps_;
};

}  // namespace

bool applyRecords(CellStore& cells, std::string_view records, bool renew, Sequence at) {
  return Change(cells, renew, at).apply(records);
}

void restoreRecords(CellStore& cells, std::string_view records, Sequence at) {
  Forma::checkRecords(records);
  Place place(cells, 0);
  for (Forma::BytesIn in(records); !in.atEnd();) {
    const LogRecord record = Forma::takeRecord(in);
    if (record.op == LogOp::end) {
      place.leave();
      continue;
    }
    Cell& cell = cells.findOrAdd({&place.cell(), record.member, record.key}, record.value.size());
    if (record.op == LogOp::put) cells.set(cell, LinkKind::value, record.value, at);
    if (record.op == LogOp::erase) cells.set(cell, LinkKind::dead, {}, at);
    if (record.op == LogOp::create) cells.set(cell, LinkKind::child, record.value, at);
    if (record.op == LogOp::create || record.op == LogOp::renew) place.enter(cell, 0);
  }
}

}  // namespace Centrum
