/// The family of an IP address.
#pragma once

#include <cstdint>

#include "platform/forma/Enum.h"
#include "platform/netbase/Namespace.h"

namespace Netbase {

/// Numbers are on the wire and in shared memory; addresses are ordered by them first.
enum AddressFamily : std::uint8_t { afUnknown_ = 0, ipv4_ = 1, ipv6_ = 2 };
FORMA_ENUM(Netbase, AddressFamily, afUnknown, ipv4, ipv6)

}  // namespace Netbase
