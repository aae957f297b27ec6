#include "agents/routes/Diagnostic.h"

#include <algorithm>

namespace StaticRoutes {

std::string quoted(std::string_view text) {
  constexpr std::size_t longest = 60;
  return "\"" + printable(text.substr(0, longest)) + (text.size() > longest ? "...\"" : "\"");
}

std::string expected(std::string_view what, std::string_view found) {
  return "expected " + std::string(what) + ", found " + quoted(found);
}

std::string lineOf(std::string_view file, const Diagnostic& diagnostic) {
  const Place& place = diagnostic.place;
  std::string out(file);
  if (place.line != 0) out += ":" + std::to_string(place.line) + ":" + std::to_string(place.column);
  else if (!place.pointer.empty()) out += ": " + printable(place.pointer);
  return out + ": " + diagnostic.text;
}

Place placeAt(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const auto lines = std::count(before.begin(), before.end(), '\n');
  const std::size_t newline = before.rfind('\n');
  const std::size_t start = newline == std::string_view::npos ? 0 : newline + 1;
  return {static_cast<std::uint32_t>(lines + 1),
          static_cast<std::uint32_t>(before.size() - start + 1),
          {}};
}

}  // namespace StaticRoutes
