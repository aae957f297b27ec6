#include "platform/forma/Hash.h"

#include <cstring>

namespace Forma {

std::uint64_t hashBytes(const void* data, std::size_t size) {
  const char* at = static_cast<const char*>(data);
  std::uint64_t h = mix(size, 0);
  std::uint64_t word = 0;
  for (; size >= sizeof word; size -= sizeof word, at += sizeof word) {
    std::memcpy(&word, at, sizeof word);
    h = mix(h, word);
  }
  if (size != 0) {
    word = 0;
    std::memcpy(&word, at, size);
    h = mix(h, word);
  }
  return h;
}

}  // namespace Forma
