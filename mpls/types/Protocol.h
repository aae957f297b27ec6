/// The protocols that distribute labels.
#pragma once

#include <cstdint>

#include "mpls/types/Namespace.h"

namespace Mpls {

enum Protocol : std::uint8_t {
  unknown_ = 0,
  mplste_ = 1,
  ldp_ = 2,
  isis_ = 3,
  rsvp_ = 4,
};
FORMA_ENUM(Mpls, Protocol, unknown, mplste, ldp, isis, rsvp)

}  // namespace Mpls
