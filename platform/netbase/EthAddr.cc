#include "platform/netbase/EthAddr.h"

#include "platform/netbase/AddressText.h"
#include "platform/netbase/WireBytes.h"

namespace Netbase {

namespace {

constexpr std::size_t textSize = 17;

const char* read(const char* at, const char* end, EthAddr& v) {
  if (end - at < static_cast<std::ptrdiff_t>(textSize)) return nullptr;
  EthAddr::Bytes bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const unsigned high = AddressText::hexValue(*at++);
    const unsigned low = AddressText::hexValue(*at++);
    if (high > 15 || low > 15) return nullptr;
    bytes[i] = static_cast<std::uint8_t>(high << 4 | low);
    if (i + 1 < bytes.size() && *at++ != ':') return nullptr;
  }
  v.bytesIs(bytes);
  return at;
}

}  // namespace

EthAddr::EthAddr(std::string_view text) {
  const auto found = fromText(text);
  if (!found) AddressText::refuse("Ethernet address", text);
  *this = *found;
}

std::optional<EthAddr> EthAddr::fromText(std::string_view text) {
  return AddressText::whole<EthAddr>(text, read);
}

void formaPrint(std::string& out, const EthAddr& v) {
  constexpr char digits[] = "0123456789abcdef";
  char text[textSize];
  char* at = text;
  for (const std::uint8_t byte : v.bytes()) {
    if (at != text) *at++ = ':';
    *at++ = digits[byte >> 4];
    *at++ = digits[byte & 15];
  }
  out.append(text, textSize);
}

void formaParse(Forma::TextIn& in, EthAddr& v) {
  AddressText::take("Ethernet address", AddressText::etherText, in, v, read);
}

void formaEncode(std::string& out, const EthAddr& v) { encodeBytes(out, v.bytes()); }

void formaDecode(Forma::BytesIn& in, EthAddr& v) { v = EthAddr(decodeBytes<6>(in)); }

}  // namespace Netbase
