/// The identity of a router in a label distribution protocol.
#pragma once

#include <array>
#include <compare>
#include <cstdint>

#include "mpls/types/Namespace.h"
#include "mpls/types/Protocol.h"
#include "platform/netbase/NetU16.h"
#include "platform/netbase/NetU32.h"

namespace Mpls {

/// Ordered by protocol, router identifier and label space, the latter two as numbers.
///
/// Text      by protocol: `isis` a system ID, 0102.0304.0506; `ldp` an LDP identifier, 10.0.0.1:0;
///           others the address alone, 10.0.0.1. The text decides the protocol when it is read, an
///           address alone giving `mplste`: protocol and label space of the others are not in it.
/// Errors    RangeException "Invalid Mpls::RouterId" for text of no such form; one that looks like
///           an address or an LDP identifier raises what their parsers raise.
class RouterId {
  FORMA_VALUE(Mpls::RouterId, protocol, rtrId, lblSpace)
  FORMA_STRING_VALUE("Invalid Mpls::RouterId")
  FORMA_FIELD(Protocol, protocol, unknown_)
  /// In network byte order.
  FORMA_FIELD(Netbase::NetU32, rtrId)
  /// In network byte order.
  FORMA_FIELD(Netbase::NetU16, lblSpace)
 public:
  /// The six bytes of an IS-IS system ID (ISO 10589).
  using SystemId = std::array<std::uint8_t, 6>;

  constexpr RouterId() = default;
  constexpr RouterId(Protocol protocol, Netbase::NetU32 rtrId, Netbase::NetU16 lblSpace)
      : protocol_(protocol), rtrId_(rtrId), lblSpace_(lblSpace) {}
  /// From a system ID: its first four bytes are `rtrId`, the others `lblSpace`. Any protocol but
  /// `isis` is a programming error and ends the process.
  MPLS_EXPORT RouterId(Protocol protocol, const SystemId& systemId);
  constexpr auto operator<=>(const RouterId&) const = default;

  /// Router identifier and label space in host order.
  std::uint32_t rtrIdValue() const { return rtrId_.value(); }
  void rtrIdValueIs(std::uint32_t v) { rtrId_.valueIs(v); }
  std::uint16_t lblSpaceValue() const { return lblSpace_.value(); }
  void lblSpaceValueIs(std::uint16_t v) { lblSpace_.valueIs(v); }
};

}  // namespace Mpls
