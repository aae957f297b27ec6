#include "tests/platform/tarn/TableTypes.h"

#include <cstring>

namespace TarnTest {

FORMA_DEFINE_VALUE(RowKey)
FORMA_DEFINE_VALUE(PlainRow)
FORMA_DEFINE_VALUE(MixedRow)
FORMA_DEFINE_VALUE(Part)
FORMA_DEFINE_VALUE(ArrayRow)
FORMA_DEFINE_VALUE(OwnRow)
FORMA_DEFINE_ENTITY(Desk)

void OwnRow::serialize(std::byte* to) const {
  const std::string digits = std::to_string(number_);
  std::memcpy(to, &key_, 4);
  std::memcpy(to + 4, digits.data(), digits.size());
}

bool OwnRow::deserialize(const std::byte* from, std::size_t bytes) {
  if (bytes < 5 || bytes > 24) return false;
  std::memcpy(&key_, from, 4);
  number_ = std::strtoull(std::string(reinterpret_cast<const char*>(from + 4), bytes - 4).c_str(),
                          nullptr, 10);
  return true;
}

}  // namespace TarnTest
