/// Value types of segment routing (RFC 8660, RFC 8667).
#pragma once

#include <cstdint>

#include "mpls/types/Namespace.h"

namespace Mpls::SegmentRouting {

/// A segment: an index into the global block of labels, or a label.
class SegmentIdentifier {
  FORMA_VALUE(Mpls::SegmentRouting::SegmentIdentifier, index, isValue)
  FORMA_FIELD(std::uint32_t, index, 0)
  /// `index` is an absolute label rather than an index into the global block.
  FORMA_FIELD(bool, isValue, false)
 public:
  constexpr SegmentIdentifier() = default;
  constexpr SegmentIdentifier(std::uint32_t index, bool isValue)
      : index_(index), isValue_(isValue) {}
};

/// The key of an adjacency segment. (Its address family is spelled isIpV6, that of the flags
/// isIpv6: both spellings are known to readers outside.)
class AdjacencySegmentKey {
  FORMA_VALUE(Mpls::SegmentRouting::AdjacencySegmentKey, sid, isIpV6)
  FORMA_FIELD(SegmentIdentifier, sid)
  FORMA_FIELD(bool, isIpV6, false)
 public:
  constexpr AdjacencySegmentKey() = default;
  constexpr AdjacencySegmentKey(SegmentIdentifier sid, bool isIpV6) : sid_(sid), isIpV6_(isIpV6) {}
};

/// The flags of an adjacency segment, as five fields or as the bits of one number: isIpv6 is bit 0,
/// isSet bit 4.
class AdjacencySegmentFlags {
  FORMA_VALUE(Mpls::SegmentRouting::AdjacencySegmentFlags, isIpv6, backup, isValue, isLocal, isSet)
  /// The adjacency is an IPv6 one.
  FORMA_FIELD(bool, isIpv6, false)
  /// The segment is eligible for protection.
  FORMA_FIELD(bool, backup, false)
  /// The segment is a label rather than an index.
  FORMA_FIELD(bool, isValue, false)
  /// The segment has meaning on this router only.
  FORMA_FIELD(bool, isLocal, false)
  /// The segment stands for a set of adjacencies.
  FORMA_FIELD(bool, isSet, false)
 public:
  constexpr AdjacencySegmentFlags() = default;
  constexpr AdjacencySegmentFlags(bool isIpv6, bool backup, bool isValue, bool isLocal, bool isSet)
      : isIpv6_(isIpv6), backup_(backup), isValue_(isValue), isLocal_(isLocal), isSet_(isSet) {}
  /// From the raw bits; RangeException when there are others than the five.
  explicit constexpr AdjacencySegmentFlags(std::uint32_t raw)
      : isIpv6_((checkRaw(raw) & 0x1) != 0),
        backup_((raw & 0x2) != 0),
        isValue_((raw & 0x4) != 0),
        isLocal_((raw & 0x8) != 0),
        isSet_((raw & 0x10) != 0) {}

  /// The raw bits.
  constexpr std::uint8_t value() const {
    return static_cast<std::uint8_t>((isIpv6_ ? 0x1 : 0) | (backup_ ? 0x2 : 0) |
                                     (isValue_ ? 0x4 : 0) | (isLocal_ ? 0x8 : 0) |
                                     (isSet_ ? 0x10 : 0));
  }
  /// Sets all five; unchanged when it raises RangeException.
  void valueIs(std::uint32_t raw) { *this = AdjacencySegmentFlags(raw); }

 private:
  static constexpr std::uint32_t checkRaw(std::uint32_t raw) {
    if (raw > 0x1f) Forma::throwRangeException("AdjacencySegmentFlags::value > 0x1f not allowed");
    return raw;
  }
};

}  // namespace Mpls::SegmentRouting
