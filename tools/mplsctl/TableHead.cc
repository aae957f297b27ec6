#include "tools/mplsctl/TableHead.h"

#include <cstddef>
#include <cstring>

#include "agents/common/Printable.h"
#include "platform/tarn/Format.h"

namespace MplsCtl {

namespace {

using Tarn::HeadFixed;
using Tarn::HeadState;

TableHead bad(TableHead::State state, std::string problem) {
  TableHead head;
  head.state = state;
  head.problem = std::move(problem);
  return head;
}

/// A number that the writer changes.
std::uint64_t changing(std::string_view bytes, std::size_t offset) {
  std::uint64_t value = 0;
  std::memcpy(&value, bytes.data() + Tarn::headStateAt + offset, sizeof value);
  return value;
}

/// Names are padded with zeros.
std::string_view nameIn(const HeadFixed& fixed) {
  return {fixed.name, ::strnlen(fixed.name, sizeof fixed.name)};
}

}  // namespace

TableHead tableHeadOf(std::string_view bytes, std::string_view name) {
  using State = TableHead::State;
  HeadFixed fixed{};
  std::memcpy(&fixed, bytes.data(), std::min(bytes.size(), sizeof fixed));
  if (bytes.size() >= sizeof fixed.magic + sizeof fixed.layout &&
      std::memcmp(fixed.magic, Tarn::headMagic, sizeof fixed.magic) == 0 &&
      fixed.layout != Tarn::layoutVersion)
    return bad(State::foreign, "layout " + std::to_string(fixed.layout) + ", need " +
                                   std::to_string(Tarn::layoutVersion));
  if (bytes.size() < Tarn::headBytes)
    return bad(State::damaged, "cut short: " + std::to_string(bytes.size()) + " of " +
                                   std::to_string(Tarn::headBytes) + " bytes");
  if (std::memcmp(fixed.magic, Tarn::headMagic, sizeof fixed.magic) != 0)
    return bad(State::damaged, "no head of a table");
  if (fixed.check != Tarn::checkFixed(fixed))
    return bad(State::damaged, "damaged: its checksum is wrong");
  if (nameIn(fixed) != name)
    return bad(State::damaged, "the head of another table: " + Agents::printable(nameIn(fixed)));
  TableHead head;
  head.schemaHash = fixed.schemaHash;
  head.generation = fixed.generation;
  head.keyBytes = fixed.keyBytes;
  head.rowBytes = fixed.rowBytes;
  head.maxRowBytes = fixed.maxRowBytes;
  head.rows = changing(bytes, offsetof(HeadState, rows));
  head.liveBytes = changing(bytes, offsetof(HeadState, liveBytes));
  head.segmentBytes = changing(bytes, offsetof(HeadState, segmentsBytes));
  head.indexBytes = changing(bytes, offsetof(HeadState, indexBytes));
  head.changes = changing(bytes, offsetof(HeadState, changes));
  head.epoch = changing(bytes, offsetof(HeadState, epoch));
  head.writerPid = changing(bytes, offsetof(HeadState, writerPid));
  head.writerSince = changing(bytes, offsetof(HeadState, writerSince));
  head.writerSeen = changing(bytes, offsetof(HeadState, writerSeen));
  return head;
}

}  // namespace MplsCtl
