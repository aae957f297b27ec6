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
  RecordTable(std::string& out, const RecordType& type, bool colour);
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
  };
  struct Field {
    std::size_t size;
    bool isRed;
  };

  void addLine(const RecordView& record, const Cell* list, std::size_t number);
  void show(const RecordView& record, const Cell& cell, Kind kind);
  void endLine();
  void appendField(std::string_view text, std::size_t place, bool isRed);

  std::string& out_;
  const bool colour_;
  std::vector<Place> places_;
  std::vector<std::size_t> widths_;
  std::size_t listColumn_;
  std::size_t listItems_ = 0;
  std::string line_;           // the cells of a line, one behind the other
  std::vector<Field> fields_;  // and how long each is
  std::string held_;           // lines like that until the widths are known
  std::vector<Field> heldFields_;
  bool isStreaming_ = false;
};

}  // namespace MplsCtl
