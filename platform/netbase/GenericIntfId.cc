#include "platform/netbase/GenericIntfId.h"

#include "platform/netbase/NameText.h"
#include "platform/netbase/WireBytes.h"

namespace Netbase {

namespace {

struct TypeOfPrefix {
  std::string_view prefix;
  std::uint32_t typeId;
};

constexpr TypeOfPrefix typesOfPrefixes[] = {
    {"Ethernet", 1},    {"eth", 1},
    {"en", 1},          {"Management", 2},
    {"ma", 2},          {"Loopback", 3},
    {"lo", 3},          {"Vlan", 4},
    {"BE", 5},          {"Port-Channel", 5},
    {"PortChannel", 5}, {"bond", 5},
    {"Tunnel", 6},      {"tun", 6},
    {"pw", 7},          {"tunnelTap", GenericIntfId::tunnelTapTypeId}};

}  // namespace

std::uint32_t GenericIntfId::typeId() const {
  const std::string_view name = intfId_.name();
  const std::string_view prefix = name.substr(0, name.find_first_of(".0123456789"));
  for (const TypeOfPrefix& one : typesOfPrefixes)
    if (one.prefix == prefix) return one.typeId;
  return unknownTypeId;
}

void formaPrint(std::string& out, const GenericIntfId& v) { printName(out, v.intfId().name()); }
void formaParse(Forma::TextIn& in, GenericIntfId& v) { v = parseName<IntfId>(in); }

void formaEncode(std::string& out, const GenericIntfId& v) { encodeName(out, v.intfId().name()); }
void formaDecode(Forma::BytesIn& in, GenericIntfId& v) { v = IntfId(decodeName(in)); }

}  // namespace Netbase
