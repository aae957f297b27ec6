#include "platform/netbase/Ip6Addr.h"

#include "platform/netbase/AddressText.h"
#include "platform/netbase/WireBytes.h"

namespace Netbase {

namespace {

const char* read(const char* at, const char* end, Ip6Addr& v) {
  Ip6Addr::Bytes bytes{};
  at = AddressText::readV6(at, end, bytes.data());
  v.bytesIs(bytes);
  return at;
}

}  // namespace

Ip6Addr::Ip6Addr(std::string_view text) {
  const auto found = fromText(text);
  if (!found) AddressText::refuse("IP address", text);
  *this = *found;
}

std::optional<Ip6Addr> Ip6Addr::fromText(std::string_view text) {
  return AddressText::whole<Ip6Addr>(text, read);
}

void formaPrint(std::string& out, const Ip6Addr& v) {
  char text[AddressText::longest];
  out.append(text, AddressText::writeV6(text, v.bytes().data()));
}

void formaParse(Forma::TextIn& in, Ip6Addr& v) {
  AddressText::take("IP address", AddressText::addressText, in, v, read);
}

void formaEncode(std::string& out, const Ip6Addr& v) { encodeBytes(out, v.bytes()); }

void formaDecode(Forma::BytesIn& in, Ip6Addr& v) { v = Ip6Addr(decodeBytes<16>(in)); }

}  // namespace Netbase
