/// An interface identifier, and the type of interface that its name stands for.
#pragma once

#include <compare>
#include <cstdint>

#include "platform/netbase/IntfId.h"

namespace Netbase {

/// An IntfId seen as an interface of some type. Text and wire are those of the IntfId.
///
/// The type follows from what stands before the first digit or dot of the name, in exact case:
///
///   1  Ethernet, eth, en          5  Port-Channel, PortChannel, bond, BE
///   2  Management, ma             6  Tunnel, tun
///   3  Loopback, lo               7  pw (pseudowire)
///   4  Vlan                      60  tunnelTap
///
/// Any other name is of type 0. A subinterface (BE511.897) has the type of its parent.
class GenericIntfId {
  FORMA_OPAQUE_VALUE(Netbase::GenericIntfId)
 public:
  static constexpr std::uint32_t unknownTypeId = 0;
  static constexpr std::uint32_t tunnelTapTypeId = 60;

  constexpr GenericIntfId() = default;
  constexpr GenericIntfId(const IntfId& intfId) : intfId_(intfId) {}

  constexpr const IntfId& intfId() const { return intfId_; }
  /// The number of the table above.
  MPLS_EXPORT std::uint32_t typeId() const;

  /// Whether bytes that were read from elsewhere make a name that ends; see Forma::loadFlat.
  constexpr bool formaFlatOk() const { return intfId_.formaFlatOk(); }

  constexpr auto operator<=>(const GenericIntfId&) const = default;
  constexpr std::uint64_t hash() const { return intfId_.hash(); }

 private:
  IntfId intfId_;
};

}  // namespace Netbase
