/// What the tunnel tap interface of a switch is called.
#pragma once

#include <cstdint>

#include "platform/netbase/IntfId.h"

namespace Netbase {

/// Constants; all values of the type are equal.
class MplsTapIntfConstants {
  FORMA_OPAQUE_VALUE(Netbase::MplsTapIntfConstants)
 public:
  static Forma::String8 tunnelTapIntfName() { return "tunnelTap0"; }
  /// The name under which processes find the interface's file descriptor.
  static Forma::String8 tunnelTapFdName() { return "tunnelTapFd"; }
  static IntfId tunnelTapIntfId() { return IntfId(tunnelTapIntfName().view()); }

  constexpr bool operator==(const MplsTapIntfConstants&) const = default;
  constexpr std::uint64_t hash() const { return 0; }
};

}  // namespace Netbase
