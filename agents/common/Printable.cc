#include "agents/common/Printable.h"

namespace Agents {

std::string printable(std::string_view text) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7f) out += c;
    else out.append("\\x").append(1, digits[byte >> 4]).append(1, digits[byte & 15]);
  }
  return out;
}

}  // namespace Agents
