/// The text form of names that are kept in place: that of strings. Private to this folder.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/forma/Text.h"

namespace Netbase {

/// Appends the name in quotes, as a string prints.
void printName(std::string& out, std::string_view name);

/// The characters of the string that comes next, when they stand there as they are, without
/// escapes; moves behind its closing quote. Otherwise nothing, and does not move.
std::optional<std::string_view> takePlainName(Forma::TextIn& in);

/// Reads a string and makes a T of what it holds.
template <class T>
T parseName(Forma::TextIn& in) {
  Forma::TextIn ahead = in;
  Forma::String8 escaped;
  auto name = takePlainName(ahead);
  if (!name) {
    Forma::parse(ahead, escaped);
    name = escaped.view();
  }
  T v(*name);
  in = ahead;
  return v;
}

}  // namespace Netbase
