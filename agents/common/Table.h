/// Tables of text for people: the same on a terminal and in a pipe.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace Agents {

using Row = std::vector<std::string>;

/// Columns as wide as their widest cell, two blanks apart. The first row, the heading, tells how
/// many there are.
void printTable(std::ostream& out, const std::vector<Row>& rows);

}  // namespace Agents
