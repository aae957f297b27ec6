/// Marks rows of a table by where they lie: a bit for each place at which a record may begin.
///
/// Thread    one.
/// Memory    one 64th of what the table's rows take; a million rows take about 1 MB.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "platform/tarn/TableView.h"

namespace MplsCtl {

/// Rows that the writer moves or replaces meanwhile lose their marks.
class RowMarks {
 public:
  /// The view must stay as long as the object, and keep its segments (TableView::Pin).
  explicit RowMarks(const Tarn::TableView& view) : view_(view) {}

  /// Marks a row that was found in the view.
  void mark(const std::byte* row) {
    if (std::vector<bool>* const marks = marksOf(row)) (*marks)[placeOf(row)] = true;
  }
  bool isMarked(const std::byte* row) {
    const std::vector<bool>* const marks = marksOf(row);
    return marks != nullptr && (*marks)[placeOf(row)];
  }

 private:
  struct Segment {
    const std::byte* begin;
    std::size_t bytes;
    std::vector<bool> marks;
  };

  std::size_t placeOf(const std::byte* row) const {
    return static_cast<std::size_t>(row - last_->begin) / Tarn::placeStep;
  }
  bool isInLast(const std::byte* row) const {
    return last_ != nullptr && last_->begin <= row && row < last_->begin + last_->bytes;
  }
  /// Null for a row of another view: one that took the place meanwhile.
  std::vector<bool>* marksOf(const std::byte* row) {
    if (!isInLast(row)) last_ = find(row);
    if (last_ == nullptr) {
      readSegments();
      last_ = find(row);
    }
    return last_ == nullptr ? nullptr : &last_->marks;
  }
  Segment* find(const std::byte* row);
  void readSegments();

  const Tarn::TableView& view_;
  std::map<const std::byte*, Segment> segments_;  // by the first byte
  Segment* last_ = nullptr;                       // of the row that was looked up last
};

}  // namespace MplsCtl
