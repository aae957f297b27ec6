#include "platform/netbase/NameText.h"

#include <algorithm>

namespace Netbase {

namespace {

/// True when a string shows this character as it is.
bool isPlain(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0x20 && byte != 0x7f && c != '\'' && c != '\\';
}

}  // namespace

void printName(std::string& out, std::string_view name) {
  if (!std::all_of(name.begin(), name.end(), isPlain)) {
    Forma::print(out, Forma::String8(name));
    return;
  }
  out.push_back('\'');
  out.append(name);
  out.push_back('\'');
}

std::optional<std::string_view> takePlainName(Forma::TextIn& in) {
  const std::string_view text = in.rest();
  if (!text.starts_with('\'')) return std::nullopt;
  std::size_t end = 1;
  while (end < text.size() && isPlain(text[end])) ++end;
  if (end == text.size() || text[end] != '\'') return std::nullopt;
  in.skip(end + 1);
  return text.substr(1, end - 1);
}

}  // namespace Netbase
