/// What is wrong with an input file, and where.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

#include "agents/common/Printable.h"

namespace StaticRoutes {

/// Where something stands in a file: a line and a column, or a place in a JSON document, or neither
/// when the whole file is meant.
struct Place {
  std::uint32_t line = 0;    ///< From 1; 0 means that there is no line.
  std::uint32_t column = 0;  ///< From 1, in bytes.
  std::string pointer;       ///< RFC 6901, such as "/3/LABEL_ROUTE_TABLE:100/weight".
  auto operator<=>(const Place&) const = default;
};

struct Diagnostic {
  Place place;
  std::string text;  ///< What was expected, and what stood there. One line, ASCII.
  bool operator==(const Diagnostic&) const = default;
};

/// Thrown inside a parser to refuse a line or an entry; becomes a Diagnostic.
struct Refusal {
  Diagnostic why;
};

/// `expected WHAT, found "TEXT"`.
std::string expected(std::string_view what, std::string_view found);

using Agents::printable;

/// The same in quotes, cut when it is long.
std::string quoted(std::string_view text);

/// `FILE:LINE:COLUMN: text`, `FILE: POINTER: text` or `FILE: text`.
std::string lineOf(std::string_view file, const Diagnostic& diagnostic);

/// Line and column of the byte at `offset`; behind the last one is allowed.
Place placeAt(std::string_view text, std::size_t offset);

}  // namespace StaticRoutes
