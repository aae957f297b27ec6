/// The row of the next hop of a pseudowire (RFC 3985).
#pragma once

#include "mpls/lfib/LfibKeys.h"
#include "mpls/types/PwVia.h"
#include "platform/netbase/IntfId.h"

namespace Mpls {

class LfibPwVia {
  FORMA_VALUE(Mpls::LfibPwVia, key, pwIntfId, controlWordPresent, pwType)
  /// Of type viaTypeMplsPseudowire.
  FORMA_FIELD(LfibViaKey, key)
  FORMA_FIELD(Netbase::IntfId, pwIntfId)
  /// Whether packets carry the control word of RFC 4385.
  FORMA_FIELD(bool, controlWordPresent, false)
  FORMA_FIELD(PwType, pwType, pwTypeUnknown_)
 public:
  constexpr LfibPwVia() = default;
  explicit constexpr LfibPwVia(LfibViaKey key) : key_(key) {}
  constexpr LfibPwVia(LfibViaKey key, Netbase::IntfId pwIntfId, bool controlWordPresent,
                      PwType pwType)
      : key_(key), pwIntfId_(pwIntfId), controlWordPresent_(controlWordPresent), pwType_(pwType) {}
};

}  // namespace Mpls
