#include "platform/netbase/VlanId.h"

#include "platform/netbase/NumberText.h"

namespace Netbase {

void VlanId::throwTooLarge() { Forma::throwRangeException("VlanId::value > 4094 not allowed"); }

void formaPrint(std::string& out, const VlanId& v) { Forma::print(out, v.value()); }
void formaParse(Forma::TextIn& in, VlanId& v) { v.valueIs(parseNumber(in)); }

void formaEncode(std::string& out, const VlanId& v) { Forma::encode(out, v.value()); }

void formaDecode(Forma::BytesIn& in, VlanId& v) {
  std::uint16_t value = 0;
  Forma::decode(in, value);
  v.valueIs(value);
}

}  // namespace Netbase
