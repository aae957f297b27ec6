/// A next hop as the FIB names it.
#pragma once

#include <compare>

#include "mpls/types/Namespace.h"
#include "platform/netbase/IntfId.h"
#include "platform/netbase/IpGenAddr.h"

namespace Mpls {

/// Ordered by the address, then the interface.
class FibVia {
  FORMA_VALUE(Mpls::FibVia, hop, intfId)
  FORMA_FIELD(Netbase::IpGenAddr, hop)
  FORMA_FIELD(Netbase::IntfId, intfId)
 public:
  constexpr FibVia() = default;
  constexpr FibVia(Netbase::IpGenAddr hop, Netbase::IntfId intfId) : hop_(hop), intfId_(intfId) {}
  constexpr auto operator<=>(const FibVia&) const = default;
};

}  // namespace Mpls
