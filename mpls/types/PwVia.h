/// The next hop of a pseudowire (RFC 3985).
#pragma once

#include <cstdint>

#include "mpls/types/Namespace.h"
#include "platform/netbase/IntfId.h"

namespace Mpls {

/// What a pseudowire carries; the numbers are those of RFC 4446.
enum PwType : std::uint8_t {
  pwTypeUnknown_ = 0,
  pwTypeEthernetTagged_ = 4,
  pwTypeEthernet_ = 5,
};
FORMA_ENUM(Mpls, PwType, pwTypeUnknown, pwTypeEthernetTagged, pwTypeEthernet)

class PwVia {
  FORMA_VALUE(Mpls::PwVia, pwIntfId, controlWordPresent, pwType)
  FORMA_FIELD(Netbase::IntfId, pwIntfId)
  /// Whether packets carry the control word of RFC 4385.
  FORMA_FIELD(bool, controlWordPresent, false)
  FORMA_FIELD(PwType, pwType, pwTypeUnknown_)
 public:
  constexpr PwVia() = default;
  constexpr PwVia(Netbase::IntfId pwIntfId, bool controlWordPresent, PwType pwType)
      : pwIntfId_(pwIntfId), controlWordPresent_(controlWordPresent), pwType_(pwType) {}
};

}  // namespace Mpls
