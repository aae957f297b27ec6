#include "platform/netbase/IpAddr.h"

#include "platform/netbase/AddressText.h"
#include "platform/netbase/WireBytes.h"

namespace Netbase {

namespace {

const char* read(const char* at, const char* end, IpAddr& v) {
  IpAddr::Bytes bytes{};
  at = AddressText::readV4(at, end, bytes.data());
  v = IpAddr(bytes);
  return at;
}

}  // namespace

IpAddr::IpAddr(std::string_view text) {
  const auto found = fromText(text);
  if (!found) AddressText::refuse("IP address", text);
  *this = *found;
}

std::optional<IpAddr> IpAddr::fromText(std::string_view text) {
  return AddressText::whole<IpAddr>(text, read);
}

void formaPrint(std::string& out, const IpAddr& v) {
  char text[AddressText::longest];
  out.append(text, AddressText::writeV4(text, v.bytes().data()));
}

void formaParse(Forma::TextIn& in, IpAddr& v) {
  AddressText::take("IP address", AddressText::addressText, in, v, read);
}

void formaEncode(std::string& out, const IpAddr& v) { encodeBytes(out, v.bytes()); }

void formaDecode(Forma::BytesIn& in, IpAddr& v) { v = IpAddr(decodeBytes<4>(in)); }

}  // namespace Netbase
