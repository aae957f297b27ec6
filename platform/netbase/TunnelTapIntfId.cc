#include "platform/netbase/TunnelTapIntfId.h"

#include "platform/netbase/GenericIntfId.h"

namespace Netbase {

FORMA_DEFINE_WIRE(TunnelTapIntfId)

bool TunnelTapIntfId::isTunnelTapIntfId(const IntfId& intfId) {
  return intfId.typeId() == GenericIntfId::tunnelTapTypeId;
}

void formaPrint(std::string& out, const TunnelTapIntfId& v) { Forma::print(out, v.intfId()); }
void formaParse(Forma::TextIn& in, TunnelTapIntfId& v) {
  IntfId intfId;
  Forma::parse(in, intfId);
  v.intfIdIs(intfId);
}

}  // namespace Netbase
