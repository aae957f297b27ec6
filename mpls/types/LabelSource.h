/// Where a label binding comes from.
#pragma once

#include <cstdint>

#include "mpls/types/Namespace.h"

namespace Mpls {

/// There is no member 0: a binding always has a source.
enum LabelSource : std::uint8_t {
  staticFecBinding_ = 1,  ///< configured for the FEC
  ldpPeer_ = 2,           ///< learnt from an LDP peer
};
FORMA_ENUM(Mpls, LabelSource, staticFecBinding, ldpPeer)

}  // namespace Mpls
