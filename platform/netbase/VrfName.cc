#include "platform/netbase/VrfName.h"

#include "platform/netbase/NameText.h"
#include "platform/netbase/WireBytes.h"

namespace L3 {

VrfName::VrfName(std::string_view name) {
  if (name.size() > maxLength()) Forma::throwRangeException("VrfName::bytes > 100 not allowed");
  size_ = static_cast<std::uint8_t>(name.copy(bytes_.data(), name.size()));
}

void formaPrint(std::string& out, const VrfName& v) { Netbase::printName(out, v.name()); }
void formaParse(Forma::TextIn& in, VrfName& v) { v = Netbase::parseName<VrfName>(in); }

void formaEncode(std::string& out, const VrfName& v) { Netbase::encodeName(out, v.name()); }
void formaDecode(Forma::BytesIn& in, VrfName& v) { v = VrfName(Netbase::decodeName(in)); }

}  // namespace L3
