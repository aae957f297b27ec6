#include "platform/netbase/Prefix.h"

namespace Netbase {

namespace {

template <class AnyPrefix>
void encodePrefix(std::string& out, const AnyPrefix& v) {
  Forma::encode(out, v.address());
  Forma::encode(out, v.length());
}

template <class AnyPrefix>
AnyPrefix decodePrefix(Forma::BytesIn& in) {
  typename AnyPrefix::Address address;
  std::uint8_t length = 0;
  Forma::decode(in, address);
  Forma::decode(in, length);
  return {address, length};
}

template <class AnyPrefix>
AnyPrefix parsePrefix(Forma::TextIn& in) {
  Forma::TextIn ahead = in;
  IpGenPrefix generic;
  Forma::parse(ahead, generic);
  const AnyPrefix prefix(generic);
  in = ahead;
  return prefix;
}

}  // namespace

void formaPrint(std::string& out, const Prefix& v) { Forma::print(out, v.generic()); }
void formaParse(Forma::TextIn& in, Prefix& v) { v = parsePrefix<Prefix>(in); }
void formaEncode(std::string& out, const Prefix& v) { encodePrefix(out, v); }
void formaDecode(Forma::BytesIn& in, Prefix& v) { v = decodePrefix<Prefix>(in); }

void formaPrint(std::string& out, const Ip6Prefix& v) { Forma::print(out, v.generic()); }
void formaParse(Forma::TextIn& in, Ip6Prefix& v) { v = parsePrefix<Ip6Prefix>(in); }
void formaEncode(std::string& out, const Ip6Prefix& v) { encodePrefix(out, v); }
void formaDecode(Forma::BytesIn& in, Ip6Prefix& v) { v = decodePrefix<Ip6Prefix>(in); }

}  // namespace Netbase
