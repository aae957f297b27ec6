/// The rows of the segment-routing tables: prefix segments and global blocks (RFC 8402).
#pragma once

#include <cstdint>

#include "mpls/types/LabelRange.h"
#include "mpls/types/RouterId.h"
#include "mpls/types/SegmentRouting.h"
#include "platform/netbase/IpGenPrefix.h"

namespace Tarn::SegmentRouting {

FORMA_TEXT_FUNCTIONS

/// The flags of a prefix segment (RFC 8667, section 2.1.1), as six fields or as the bits of one
/// number: explicitNull is bit 0, isLocal bit 5.
class PfxSegmentFlags {
  FORMA_VALUE(Tarn::SegmentRouting::PfxSegmentFlags, explicitNull, noPhp, node, proxy, reAdvert,
              isLocal)
  /// The last router but one is to put explicit null in the label's place.
  FORMA_FIELD(bool, explicitNull, false)
  /// The last router but one is to leave the label on the packet.
  FORMA_FIELD(bool, noPhp, false)
  /// The prefix is that of one router.
  FORMA_FIELD(bool, node, false)
  /// The segment was advertised on behalf of another router.
  FORMA_FIELD(bool, proxy, false)
  /// The segment came from another level or protocol.
  FORMA_FIELD(bool, reAdvert, false)
  /// The segment has meaning on its router only.
  FORMA_FIELD(bool, isLocal, false)
 public:
  constexpr PfxSegmentFlags() = default;
  /// From the raw bits; RangeException when there are others than the six.
  explicit constexpr PfxSegmentFlags(std::uint32_t raw)
      : explicitNull_((checkRaw(raw) & 0x1) != 0),
        noPhp_((raw & 0x2) != 0),
        node_((raw & 0x4) != 0),
        proxy_((raw & 0x8) != 0),
        reAdvert_((raw & 0x10) != 0),
        isLocal_((raw & 0x20) != 0) {}

  /// The raw bits.
  constexpr std::uint8_t value() const {
    return static_cast<std::uint8_t>((explicitNull_ ? 0x1 : 0) | (noPhp_ ? 0x2 : 0) |
                                     (node_ ? 0x4 : 0) | (proxy_ ? 0x8 : 0) |
                                     (reAdvert_ ? 0x10 : 0) | (isLocal_ ? 0x20 : 0));
  }
  /// Sets all six; unchanged when it raises RangeException.
  void valueIs(std::uint32_t raw) { *this = PfxSegmentFlags(raw); }

 private:
  static constexpr std::uint32_t checkRaw(std::uint32_t raw) {
    if (raw > 0x3f) Forma::throwRangeException("PfxSegmentFlags::value > 0x3f not allowed");
    return raw;
  }
};

/// The segment of one prefix.
///
/// Its text shows each flag as a field of its own, before `flags`; when a text is read the fields
/// count in their order, so that `flags` decides.
class PrefixSegment {
  FORMA_VALUE(Tarn::SegmentRouting::PrefixSegment, key, sid, rtrid, flags, level)
  FORMA_FIELD(Netbase::IpGenPrefix, key)
  FORMA_FIELD(Mpls::SegmentRouting::SegmentIdentifier, sid)
  /// Who advertised it.
  FORMA_FIELD(Mpls::RouterId, rtrid)
  FORMA_FIELD(PfxSegmentFlags, flags)
  /// The IS-IS level at which it was learnt, 1 or 2; 0 where there are no levels.
  FORMA_FIELD(std::uint8_t, level, 0)
 public:
  constexpr PrefixSegment() = default;
  explicit constexpr PrefixSegment(const Netbase::IpGenPrefix& key) : key_(key) {}
};

/// The labels that a router sets aside for segments with a meaning in the whole network (SRGB).
class GlobalBlock {
  FORMA_VALUE(Tarn::SegmentRouting::GlobalBlock, key, labelRange)
  FORMA_FIELD(Mpls::RouterId, key)
  FORMA_FIELD(Mpls::LabelRange, labelRange)
 public:
  constexpr GlobalBlock() = default;
  explicit constexpr GlobalBlock(const Mpls::RouterId& key, Mpls::LabelRange labelRange = {})
      : key_(key), labelRange_(labelRange) {}

  /// The label by which this router knows the segment: the one that the identifier carries, of
  /// which 20 bits count, or else the one at its index in the block. MplsLabel::none when the index
  /// lies outside. Raises RangeException when a block that no check has seen (a row of a table)
  /// ends above MplsLabel::luWithdraw.
  MPLS_EXPORT Netbase::MplsLabel mplsLabel(
      const Mpls::SegmentRouting::SegmentIdentifier& sid) const;
};

}  // namespace Tarn::SegmentRouting
