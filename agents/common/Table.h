/// Tables of text for people: the same on a terminal and in a pipe.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace Agents {

using Row = std::vector<std::string>;

/// Columns as wide as their widest cell, two blanks apart. The first row, the heading, tells how
/// many there are.
void printTable(std::ostream& out, const std::vector<Row>& rows);

/// Prints a table of any length by and by: a thousand rows at a time, each time with columns as
/// wide as they have been so far. A table that fits looks as with printTable().
class TableStream {
 public:
  TableStream(std::ostream& out, Row heading);
  void add(Row row);
  /// Prints what is left.
  void end();

 private:
  std::ostream& out_;
  std::vector<Row> rows_;
  std::vector<std::size_t> widths_;
};

}  // namespace Agents
