#include "agents/common/Table.h"

#include <algorithm>
#include <utility>

namespace Agents {

namespace {

constexpr std::size_t rowsAtOnce = 1000;

void widen(std::vector<std::size_t>& widths, const std::vector<Row>& rows) {
  for (const Row& row : rows)
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
}

void printRows(std::ostream& out, const std::vector<Row>& rows,
               const std::vector<std::size_t>& widths) {
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      if (i + 1 < row.size()) line.append(widths[i] + 2 - row[i].size(), ' ');
    }
    out << line << '\n';
  }
}

}  // namespace

void printTable(std::ostream& out, const std::vector<Row>& rows) {
  std::vector<std::size_t> widths(rows.front().size());
  widen(widths, rows);
  printRows(out, rows, widths);
}

TableStream::TableStream(std::ostream& out, Row heading) : out_(out), widths_(heading.size()) {
  rows_.push_back(std::move(heading));
}

void TableStream::add(Row row) {
  rows_.push_back(std::move(row));
  if (rows_.size() == rowsAtOnce) end();
}

void TableStream::end() {
  widen(widths_, rows_);
  printRows(out_, rows_, widths_);
  rows_.clear();
}

}  // namespace Agents
