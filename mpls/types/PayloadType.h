/// What lies under the labels that a via handles.
#pragma once

#include <cstdint>

#include "mpls/types/Namespace.h"

namespace Mpls {

enum PayloadType : std::uint8_t {
  undefinedPayload_ = 0,
  mpls_ = 1,
  ipv4_ = 2,
  ipv6_ = 3,
  ethernet_ = 4,
  autoDecide_ = 5,  ///< found out from the packet
};
FORMA_ENUM(Mpls, PayloadType, undefinedPayload, mpls, ipv4, ipv6, ethernet, autoDecide)

}  // namespace Mpls
