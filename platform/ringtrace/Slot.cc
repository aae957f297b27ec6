#include "platform/ringtrace/Slot.h"

#include <bit>
#include <cstring>
#include <string_view>

namespace RingTrace {
namespace {

/// Takes the pieces of a payload from its front. Every take checks that the bytes are there.
class Payload {
 public:
  explicit Payload(const SlotWords& slot)
      : rest_(reinterpret_cast<const char*>(&slot[payloadAt]), lengthOf(slot)) {}

  bool atEnd() const { return rest_.empty(); }
  bool take(std::size_t size, std::string_view& bytes) {
    if (rest_.size() < size) return false;
    bytes = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return true;
  }
  bool takeByte(unsigned char& byte) {
    std::string_view one;
    if (!take(1, one)) return false;
    byte = static_cast<unsigned char>(one[0]);
    return true;
  }

 private:
  std::string_view rest_;
};

bool appendTextPiece(Payload& from, SlotText& to) {
  unsigned char size = 0;
  std::string_view text;
  if (!from.takeByte(size) || !from.take(size, text)) return false;
  to.append(text);
  return true;
}

bool appendNumberPiece(Payload& from, bool isSigned, SlotText& to) {
  std::uint64_t number = 0;
  std::string_view bytes;
  if (!from.take(sizeof number, bytes)) return false;
  std::memcpy(&number, bytes.data(), sizeof number);
  if (isSigned) to.appendNumber(std::bit_cast<std::int64_t>(number));
  else to.appendNumber(number);
  return true;
}

bool appendPiece(Payload& from, SlotText& to) {
  unsigned char tag = 0;
  if (!from.takeByte(tag)) return false;
  switch (tag) {
    case text_:
      return appendTextPiece(from, to);
    case unsigned_:
    case signed_:
      return appendNumberPiece(from, tag == signed_, to);
    case true_:
    case false_:
      to.append(tag == true_ ? "true" : "false");
      return true;
    default:
      return false;
  }
}

}  // namespace

bool appendText(const SlotWords& slot, SlotText& to) noexcept {
  Payload payload(slot);
  while (!payload.atEnd()) {
    if (!appendPiece(payload, to)) return false;
  }
  if (isCut(slot)) to.append(" [cut]");
  return true;
}

std::optional<Message> messageOf(const SlotWords& slot) {
  SlotText text;
  if (!isIntact(slot) || !appendText(slot, text)) return std::nullopt;
  return Message{sequenceOf(slot), slot[timeAt], threadOf(slot), std::string(text.view())};
}

}  // namespace RingTrace
