#include "platform/netbase/IntfId.h"

#include "platform/netbase/GenericIntfId.h"
#include "platform/netbase/NameText.h"
#include "platform/netbase/WireBytes.h"

namespace Netbase {

namespace {

/// Raises RangeException when no interface may be called so; these are the rules of Linux.
void check(std::string_view name) {
  if (name.size() > IntfId::maxLength())
    Forma::throwRangeException("IntfId::name > 15 bytes not allowed");
  if (name == "." || name == "..")
    Forma::throwRangeException("IntfId::name \".\" or \"..\" not allowed");
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '/') Forma::throwRangeException("IntfId::name with '/' not allowed");
    if (c == ' ') Forma::throwRangeException("IntfId::name with a blank not allowed");
    if (byte < 0x20 || byte == 0x7f)
      Forma::throwRangeException("IntfId::name with a control byte not allowed");
  }
}

}  // namespace

IntfId::IntfId(std::string_view name) {
  check(name);
  name.copy(bytes_.data(), name.size());
}

std::uint32_t IntfId::typeId() const { return GenericIntfId(*this).typeId(); }

void formaPrint(std::string& out, const IntfId& v) { printName(out, v.name()); }
void formaParse(Forma::TextIn& in, IntfId& v) { v = parseName<IntfId>(in); }

void formaEncode(std::string& out, const IntfId& v) { encodeName(out, v.name()); }
void formaDecode(Forma::BytesIn& in, IntfId& v) { v = IntfId(decodeName(in)); }

}  // namespace Netbase
