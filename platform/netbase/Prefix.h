/// Prefixes of one family each, as the keys of tables hold them.
#pragma once

#include <string_view>

#include "platform/netbase/FamilyPrefix.h"

namespace Netbase {

/// An IPv4 prefix; 0.0.0.0/0 by default. 5 bytes without padding, aligned to one.
///
/// Ordered by address, then length. Text: address, "/", length; bad text, or that of an IPv6
/// prefix, raises RangeException. Wire: four bytes, network order, and one for the length.
class Prefix : public FamilyPrefix<IpAddr> {
  FORMA_OPAQUE_VALUE(Netbase::Prefix)
 public:
  constexpr Prefix() = default;
  using FamilyPrefix::FamilyPrefix;
  /// Raises RangeException when that is no IPv4 prefix.
  explicit Prefix(const IpGenPrefix& prefix) : FamilyPrefix(prefix) {}
  /// From the whole text; raises RangeException.
  explicit Prefix(std::string_view text) : Prefix(IpGenPrefix(text)) {}

  constexpr auto operator<=>(const Prefix&) const = default;
};

/// An IPv6 prefix; ::/0 by default. 17 bytes without padding, aligned to one. All else as Prefix.
class Ip6Prefix : public FamilyPrefix<Ip6Addr> {
  FORMA_OPAQUE_VALUE(Netbase::Ip6Prefix)
 public:
  constexpr Ip6Prefix() = default;
  using FamilyPrefix::FamilyPrefix;
  /// Raises RangeException when that is no IPv6 prefix.
  explicit Ip6Prefix(const IpGenPrefix& prefix) : FamilyPrefix(prefix) {}
  /// From the whole text; raises RangeException.
  explicit Ip6Prefix(std::string_view text) : Ip6Prefix(IpGenPrefix(text)) {}

  constexpr auto operator<=>(const Ip6Prefix&) const = default;
};

}  // namespace Netbase
