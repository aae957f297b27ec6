/// Records as a table for people, printed as they come: a line for each record, or for each of its
/// items where it has a list of records. Columns are as wide as the first thousand lines need, and
/// wider from where a cell needs more.
///
/// Thread    one.
/// Memory    the first thousand lines.
#pragma once

#include <string>
#include <vector>

#include "tools/mplsctl/Record.h"

namespace MplsCtl {

class RecordTable {
 public:
  /// Appends to `out`, which somebody else empties.
  RecordTable(Text& out, const RecordType& type, bool colour);
  void add(const RecordView& record);
  /// Appends what was held back. Without records there is no heading either.
  void end();
  /// Whether the first lines are out.
  bool isStreaming() const { return isStreaming_; }

 private:
  struct Place {
    std::size_t column;
    std::size_t item;  // in the list of records; npos: a column of the record itself
    Kind kind;
    std::string_view heading;
    std::string shown;  // of the line at hand, where that is not the cell as it is
    std::size_t width = 0;
  };
  struct Field {
    std::string_view text;
    bool isRed;
  };
  struct HeldField {
    std::size_t size;
    bool isRed;
  };

  void widen(Place& place, std::size_t width);
  void addLine(const RecordView& record, const Cell* list, std::size_t number);
  std::string_view show(const RecordView& record, const Cell& cell, Place& place);
  void holdLine();
  void appendLine();

  Text& out_;
  const bool colour_;
  std::vector<Place> places_;
  std::size_t lineBytes_ = 0;  // of all widths
  std::size_t listColumn_;
  std::size_t listItems_ = 0;
  std::vector<Field> fields_;  // the line at hand
  std::string held_;           // lines, cell by cell, until the widths are known
  std::vector<HeldField> heldFields_;
  bool isStreaming_ = false;
};

}  // namespace MplsCtl
