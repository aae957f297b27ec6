#include "tools/mplsctl/ValueText.h"

#include <cinttypes>
#include <cstdio>

namespace MplsCtl {

std::string hexText(std::uint64_t number) {
  char text[20];
  std::snprintf(text, sizeof text, "%016" PRIx64, number);
  return text;
}

}  // namespace MplsCtl
