/// LDP identifiers (RFC 5036, section 2.2.2).
#pragma once

#include <compare>
#include <cstdint>

#include "platform/forma/Value.h"
#include "platform/netbase/NetU16.h"
#include "platform/netbase/NetU32.h"

namespace Ldp {

FORMA_TEXT_FUNCTIONS

/// One label space of one label switching router. Ordered by router, then label space, as numbers.
///
/// Text      the router as a dotted address, ":", the label space in decimal: 10.1.2.3:0. The same
///           everywhere: stringValue(), operator<<, in records and in the generic text form. The
///           parser takes what belongs to the identifier and stops behind the last digit.
/// Errors    RangeException "Invalid LdpIdentifier" for text without a label space of 0 to 65535 or
///           with more behind it; a bad address raises what the parser of addresses raises.
class LdpIdentifier {
  FORMA_VALUE_OWN_HASH(Ldp::LdpIdentifier, lsrIdNbo, lblSpace)
  FORMA_STRING_VALUE("Invalid LdpIdentifier")
  /// The router, in network byte order.
  FORMA_FIELD(Netbase::NetU32, lsrIdNbo)
 public:
  /// 0.0.0.0:0, no identifier.
  static const LdpIdentifier ldpIdZero;
  /// 0.0.0.0:1, every LDP neighbour at once.
  static const LdpIdentifier allLdpNeighborIdentifier;

  constexpr LdpIdentifier() = default;
  /// From the router as a number in host order; 0x0a010203 is 10.1.2.3.
  explicit constexpr LdpIdentifier(std::uint32_t lsrId) : LdpIdentifier(lsrId, 0) {}
  constexpr LdpIdentifier(std::uint32_t lsrId, std::uint16_t lblSpace)
      : lsrIdNbo_(lsrId), lblSpace_(lblSpace) {}
  constexpr auto operator<=>(const LdpIdentifier&) const = default;

  /// The router, in host order.
  constexpr std::uint32_t lsrId() const { return lsrIdNbo_.value(); }
  constexpr void lsrIdIs(std::uint32_t v) { lsrIdNbo_.valueIs(v); }
  /// The label space, in host order; 0 is the platform-wide one.
  constexpr std::uint16_t lblSpace() const { return lblSpace_.value(); }
  constexpr void lblSpaceIs(std::uint16_t v) { lblSpace_.valueIs(v); }

  /// The hash by which other programs know identifiers; it never changes. Identifiers of one router
  /// differ in it by their label spaces only, so the maps of this process mix the fields instead.
  constexpr std::uint32_t hash() const {
    std::uint32_t h = lsrId() * 32767 - 1;
    h = (h ^ (h >> 12)) * 5;
    h = ((h >> 4) ^ h) * 2057;
    return lblSpace() + ((h >> 16) ^ h);
  }

 private:
  Netbase::NetU16 lblSpace_;
};

inline constexpr LdpIdentifier LdpIdentifier::ldpIdZero{};
inline constexpr LdpIdentifier LdpIdentifier::allLdpNeighborIdentifier{0, 1};

}  // namespace Ldp
