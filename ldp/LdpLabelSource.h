/// Where the binding of a label to a FEC comes from.
#pragma once

#include <cstdint>

#include "ldp/Namespace.h"

namespace Ldp {

/// It stays with who writes the bindings: shared memory does not carry it.
enum LdpLabelSource : std::uint8_t {
  ldpLabelSourceUnknown_ = 0,
  ldpLabelSourceLocal_ = 1,   ///< this router's own
  ldpLabelSourcePeer_ = 2,    ///< received from an LDP peer
  ldpLabelSourceStatic_ = 3,  ///< configured
};
FORMA_ENUM(Ldp, LdpLabelSource, ldpLabelSourceUnknown, ldpLabelSourceLocal, ldpLabelSourcePeer,
           ldpLabelSourceStatic)

}  // namespace Ldp
