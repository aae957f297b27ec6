#include "tools/mplsctl/Record.h"

namespace MplsCtl {

namespace {

/// How far the bytes of a record go.
std::size_t bytesOf(const RecordView& record) {
  std::size_t end = 0;
  for (std::size_t i = 0; i < record.cells.size(); ++i)
    if (record.type->columns[i].kind != Kind::records)
      end = std::max<std::size_t>(end, record.cells[i].at + record.cells[i].size);
  for (const Cell& cell : record.items) end = std::max<std::size_t>(end, cell.at + cell.size);
  return end;
}

}  // namespace

void RecordList::add(const RecordView& record) {
  kept_.push_back({record.type, bytes_.size(), cells_.size(), cells_.size() + record.cells.size(),
                   static_cast<std::uint32_t>(record.cells.size()),
                   static_cast<std::uint32_t>(record.items.size())});
  bytes_.append(record.bytes, bytesOf(record));
  cells_.insert(cells_.end(), record.cells.begin(), record.cells.end());
  cells_.insert(cells_.end(), record.items.begin(), record.items.end());
}

RecordView RecordList::operator[](std::size_t index) const {
  const Kept& kept = kept_[index];
  const std::span<const Cell> cells(cells_);
  return {kept.type, bytes_.data() + kept.bytes, cells.subspan(kept.cells, kept.cellCount),
          cells.subspan(kept.items, kept.itemCount)};
}

void RecordList::clear() {
  bytes_.clear();
  cells_.clear();
  kept_.clear();
}

}  // namespace MplsCtl
