/// Labels as people read them.
#pragma once

#include <string_view>

namespace MplsCtl {

/// Labels with a meaning of their own (RFC 3032) by name; others as they are.
constexpr std::string_view labelName(std::string_view label) {
  if (label == "0" || label == "2") return "explicit-null";
  return label == "3" ? "implicit-null" : label;
}

}  // namespace MplsCtl
