#include "platform/netbase/NetU32.h"

namespace Netbase {

void formaPrint(std::string& out, const NetU32& v) { Forma::print(out, v.value()); }

void formaParse(Forma::TextIn& in, NetU32& v) {
  std::uint32_t value = 0;
  Forma::parse(in, value);
  v.valueIs(value);
}

// Integers travel little-endian: swapped first, the number leaves big-endian on any machine.
void formaEncode(std::string& out, const NetU32& v) { Forma::encode(out, swapped(v.value())); }

void formaDecode(Forma::BytesIn& in, NetU32& v) {
  std::uint32_t value = 0;
  Forma::decode(in, value);
  v.valueIs(swapped(value));
}

}  // namespace Netbase
