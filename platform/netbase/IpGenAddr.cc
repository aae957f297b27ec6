#include "platform/netbase/IpGenAddr.h"

#include "platform/netbase/AddressText.h"
#include "platform/netbase/WireBytes.h"

namespace Netbase {

namespace {

constexpr std::string_view unset = "none";

}  // namespace

IpGenAddr::IpGenAddr(std::string_view text) {
  const auto found = fromText(text);
  if (!found) AddressText::refuse("IP address", text);
  *this = *found;
}

std::optional<IpGenAddr> IpGenAddr::fromText(std::string_view text) {
  if (text == unset) return IpGenAddr();
  return AddressText::whole<IpGenAddr>(text, AddressText::readEither);
}

void IpGenAddr::throwOtherFamily(std::string_view wanted) {
  Forma::throwRangeException("IpGenAddr::af != " + std::string(wanted) + " not allowed");
}

void formaPrint(std::string& out, const IpGenAddr& v) {
  if (!v.isSet()) {
    out.append(unset);
    return;
  }
  char text[AddressText::longest];
  out.append(text, v.isV4() ? AddressText::writeV4(text, v.bytes().data())
                            : AddressText::writeV6(text, v.bytes().data()));
}

void formaParse(Forma::TextIn& in, IpGenAddr& v) {
  if (in.tryTake(unset)) {
    v = IpGenAddr();
  } else {
    AddressText::take("IP address", AddressText::addressText, in, v, AddressText::readEither);
  }
}

void formaEncode(std::string& out, const IpGenAddr& v) {
  Forma::encode(out, v.af());
  if (v.isV4()) Forma::encode(out, v.v4());
  if (v.isV6()) Forma::encode(out, v.v6());
}

void formaDecode(Forma::BytesIn& in, IpGenAddr& v) {
  AddressFamily af = afUnknown();
  Forma::decode(in, af);
  switch (af) {
    case afUnknown_:
      v = IpGenAddr();
      break;
    case ipv4_:
      v = IpAddr(decodeBytes<4>(in));
      break;
    case ipv6_:
      v = Ip6Addr(decodeBytes<16>(in));
      break;
  }
}

}  // namespace Netbase
