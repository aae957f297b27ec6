/// Values as messages and tables have them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/forma/Text.h"

namespace MplsCtl {

/// The text form of a value.
std::string textOf(const auto& value) { return std::string(Forma::valueToStrep(value).view()); }

/// The name of an enumerator without what all of its enumeration begin with: "Ldp" of
/// lfibSourceLdp_; a number where it has no name.
template <class Enum>
std::string nameWithout(std::string_view prefix, Enum value) {
  std::string name(formaEnumName(value));
  if (name.starts_with(prefix)) name.erase(0, prefix.size());
  return name.empty() ? std::to_string(value) : name;
}

/// 16 hexadecimal digits, as of epochs and hashes.
std::string hexText(std::uint64_t number);

}  // namespace MplsCtl
