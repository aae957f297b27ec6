/// The tunnel tap interface: the way by which MPLS packets reach this switch's own software.
#pragma once

#include <compare>
#include <cstdint>

#include "platform/netbase/IntfId.h"

namespace Netbase {

/// An IntfId of a tunnel tap interface. Text, wire and order are those of the IntfId; that it names
/// an interface of that type is not checked.
class TunnelTapIntfId {
  FORMA_DESCRIBE(Netbase::TunnelTapIntfId, intfId)
  FORMA_VALUE_FUNCTIONS(Netbase::TunnelTapIntfId)
  FORMA_FIELD(IntfId, intfId)
 public:
  constexpr TunnelTapIntfId() = default;
  explicit constexpr TunnelTapIntfId(const IntfId& intfId) : intfId_(intfId) {}
  /// From the bare name; raises RangeException when an interface cannot be called so.
  explicit TunnelTapIntfId(const Forma::String8& name) : intfId_(name.view()) {}

  /// Whether the interface is of that type, see GenericIntfId.
  MPLS_EXPORT static bool isTunnelTapIntfId(const IntfId& intfId);

  constexpr auto operator<=>(const TunnelTapIntfId&) const = default;
  constexpr std::uint64_t hash() const { return intfId_.hash(); }
};

}  // namespace Netbase
