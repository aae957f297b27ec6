/// The cells of one path: found by identity, in the order of change, with a bounded number of
/// tombstones. Database.h says what holds for them.
///
/// Thread    that of the database.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/centrum/Cell.h"
#include "platform/forma/SlotIndex.h"

namespace Centrum {

class CellStore {
 public:
  CellStore();
  /// Cursors must be gone.
  ~CellStore();
  CellStore(const CellStore&) = delete;
  CellStore& operator=(const CellStore&) = delete;

  /// The cell whose children are the path's direct content. It is in no list.
  Cell& root() const { return *root_; }
  /// Around which the list goes: behind its tail, before its head.
  OrderLink& end() { return end_; }

  std::size_t live() const { return live_; }
  std::size_t dead() const { return dead_; }
  /// Keys and values of live cells.
  std::size_t bytes() const { return bytes_; }
  std::uint64_t version() const { return version_; }
  /// The highest sequence of a tombstone that was forgotten.
  Sequence forgotten() const { return forgotten_; }
  void forgottenIs(Sequence at) { forgotten_ = at; }
  /// Whether all cells that were named are in the list.
  bool complete() const { return cells_ == live_ + dead_; }

  Cell* find(const CellId& id) const {
    const std::uint32_t number = place(id).slot;
    return number == Forma::noSlot ? nullptr : cell(number);
  }
  /// A cell that is added is in no list before set() is called, and has room for `room` bytes.
  Cell& findOrAdd(const CellId& id, std::size_t room);

  /// Asks for the memory that set() will touch.
  static void prefetch(const Cell& cell) {
    __builtin_prefetch(cell.previous, 1);
    __builtin_prefetch(cell.next, 1);
    __builtin_prefetch(cell.valueBytes, 1);
  }
  /// Changes a cell, and moves it to the tail. Costs no allocation while values keep their size.
  void set(Cell& cell, LinkKind kind, std::string_view value, Sequence at);
  /// Makes tombstones of all cells below, at the tail: the dead ones, too, so that they stand
  /// behind `cell`.
  void killBelow(Cell& cell, Sequence at);
  void kill(Cell& cell, Sequence at) {
    set(cell, LinkKind::dead, {}, at);
    killBelow(cell, at);
  }
  /// Moves all live cells below to the tail.
  void restateBelow(Cell& cell, Sequence at);

  /// Forgets the oldest tombstones beyond max(kept, live cells).
  void forgetBeyond(std::size_t kept);
  /// A generation that no cell was stated in.
  std::uint64_t nextGeneration() { return ++generation_; }

 private:
  Cell* cell(std::uint32_t number) const { return static_cast<Cell*>(pool_.at(number)); }
  Forma::SlotIndex::Place place(const CellId& id) const {
    if (!index_.indexed()) return {Forma::noSlot, 0};
    return index_.find(id.hash, [&](std::uint32_t number) { return cell(number)->id == id; });
  }
  void count(const Cell& cell, bool there);
  void toTail(Cell& cell, Sequence at);
  void forgetOldest();
  void forget(Cell& cell);
  void destroyBelow(Cell& cell) noexcept;

  CellPool pool_;
  Forma::SlotIndex index_;  // to the numbers of blocks
  std::uint32_t cells_ = 0;
  OrderLink end_;
  OrderLink allAlive_;  // a mark in the list: no tombstone stands before it
  Cell* root_;
  std::size_t live_ = 0;
  std::size_t dead_ = 0;
  std::size_t bytes_ = 0;
  std::uint64_t version_ = 0;
  std::uint64_t generation_ = 0;
  Sequence forgotten_ = 0;
};

}  // namespace Centrum
