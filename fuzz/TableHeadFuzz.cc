/// Reads any bytes as the head of a table: once as they are, and once with magic, layout, name and
/// checksum put right, since random bytes would hardly get past them.
#include <cstring>
#include <string>

#include "fuzz/Check.h"
#include "platform/tarn/Format.h"
#include "tools/mplsctl/TableHead.h"

namespace {

using MplsCtl::TableHead;

constexpr std::string_view name = "lfibRoute";

std::string putRight(std::string bytes) {
  Tarn::HeadFixed fixed;
  if (bytes.size() < sizeof fixed) return bytes;
  std::memcpy(&fixed, bytes.data(), sizeof fixed);
  std::memcpy(fixed.magic, Tarn::headMagic, sizeof fixed.magic);
  fixed.layout = Tarn::layoutVersion;
  std::memset(fixed.name, 0, sizeof fixed.name);
  std::memcpy(fixed.name, name.data(), name.size());
  fixed.check = Tarn::checkFixed(fixed);
  std::memcpy(bytes.data(), &fixed, sizeof fixed);
  return bytes;
}

void read(const std::string& bytes, bool right) {
  const TableHead head = MplsCtl::tableHeadOf(bytes, name);
  require((head.state == TableHead::State::good) == head.problem.empty());
  require(head.problem.find_first_of("\n\x1b") == std::string::npos);
  if (right) require(head.problem.empty() == (bytes.size() >= Tarn::headBytes));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(textOf(data, size));
  read(bytes, false);
  read(putRight(bytes), bytes.size() >= sizeof(Tarn::HeadFixed));
  return 0;
}
