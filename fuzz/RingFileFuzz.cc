/// Reads any bytes as a ring file: once as they are, and once with every checksum put right, since
/// random bytes would hardly get past them to the pieces.
#include <algorithm>
#include <cstring>
#include <string>

#include "fuzz/Check.h"
#include "platform/ringtrace/FileHeader.h"
#include "platform/ringtrace/RingFileReader.h"

namespace {

void read(std::string_view bytes) {
  accepted<RingTrace::FileError>([bytes] {
    const auto found = RingTrace::messagesFromBytes(bytes);
    require(found.size() <= bytes.size() / RingTrace::slotSize);
    require(std::ranges::is_sorted(found, {}, &RingTrace::Message::sequence));
    for (const RingTrace::Message& message : found)
      require(message.text.size() <= RingTrace::payloadSize * 5 + 6);
  });
}

std::string withChecksums(std::string bytes) {
  constexpr std::size_t size = RingTrace::slotSize;
  for (std::size_t at = sizeof(RingTrace::FileHeader); at + size <= bytes.size(); at += size) {
    RingTrace::SlotWords slot;
    std::memcpy(slot.data(), bytes.data() + at, size);
    if (RingTrace::lengthOf(slot) > RingTrace::payloadSize) continue;
    slot[RingTrace::checksumAt] = RingTrace::checksumOf(slot);
    std::memcpy(bytes.data() + at, slot.data(), size);
  }
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(textOf(data, size));
  read(bytes);
  read(withChecksums(bytes));
  return 0;
}
