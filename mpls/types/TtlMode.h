/// How the TTL is carried when labels are pushed and popped (RFC 3443).
#pragma once

#include <cstdint>

#include "mpls/types/Namespace.h"

namespace Mpls {

enum TtlMode : std::uint8_t {
  undefinedTtlMode_ = 0,
  pipe_ = 1,     ///< the label's TTL starts anew; the packet's own is not touched
  uniform_ = 2,  ///< the TTL is copied from header to header
};
FORMA_ENUM(Mpls, TtlMode, undefinedTtlMode, pipe, uniform)

}  // namespace Mpls
