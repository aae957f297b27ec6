/// Forwarding equivalence classes (RFC 3031).
#pragma once

#include <compare>
#include <cstdint>

#include "mpls/types/Namespace.h"
#include "platform/netbase/IpGenPrefix.h"

namespace Mpls {

/// The packets to one IP prefix. Text, order and hash are those of the prefix.
///
/// Errors    text that is not a prefix as a whole raises RangeException "Invalid FwdEqvClass".
class FwdEqvClass {
  FORMA_VALUE_OWN_HASH(Mpls::FwdEqvClass, prefix)
  FORMA_STRING_VALUE("Invalid FwdEqvClass")
  FORMA_FIELD(Netbase::IpGenPrefix, prefix)
 public:
  constexpr FwdEqvClass() = default;
  explicit constexpr FwdEqvClass(Netbase::IpGenPrefix prefix) : prefix_(prefix) {}
  constexpr auto operator<=>(const FwdEqvClass&) const = default;

  std::uint64_t hash() const { return prefix_.hash(); }
};

}  // namespace Mpls
