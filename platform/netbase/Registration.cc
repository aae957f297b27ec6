#include "platform/netbase/Registration.h"

#include "platform/netbase/EthAddr.h"
#include "platform/netbase/GenericIntfId.h"
#include "platform/netbase/IpGenPrefix.h"
#include "platform/netbase/MplsLabel.h"
#include "platform/netbase/MplsLabelAction.h"
#include "platform/netbase/MplsTapIntfConstants.h"
#include "platform/netbase/NetU16.h"
#include "platform/netbase/NetU32.h"
#include "platform/netbase/Prefix.h"
#include "platform/netbase/TunnelTapIntfId.h"
#include "platform/netbase/VlanId.h"
#include "platform/netbase/VrfName.h"

namespace Netbase {

void registerTypes(Forma::TypeRegistry& registry) {
  registry.add<AddressFamily, MplsLabelAction>();
  registry.add<MplsLabel, VlanId, NetU16, NetU32>();
  registry.add<IpAddr, Ip6Addr, IpGenAddr, IpGenPrefix, Prefix, Ip6Prefix, EthAddr>();
  registry.add<IntfId, GenericIntfId, TunnelTapIntfId, MplsTapIntfConstants, L3::VrfName>();
}

}  // namespace Netbase
