/// The label ranges of a switch that configures none, and the names under which ranges are kept in
/// the configuration. Labels 0 to 15 are reserved by RFC 3032.
#pragma once

#include <cstdint>

#include "mpls/types/LabelRange.h"

namespace Mpls {

struct MPLS_EXPORT LabelRangeInfo {
  static constexpr LabelRange staticDefaultRange{16, 99984};
  static constexpr LabelRange dynamicDefaultRange{100000, 262144};
  static constexpr LabelRange srgbDefaultRange{900000, 65536};
  static constexpr LabelRange srlbDefaultRange{965536, 65536};
  static constexpr LabelRange l2evpnDefaultRange{1036288, 12288};

  /// The fewest labels that the dynamic range may be left with.
  static constexpr std::uint32_t dynamicMinSize = 131072;

  /// Names of ranges. The two global blocks of segment routing are called after their protocols.
  static const Forma::String8 rangeTypeStatic;
  static const Forma::String8 rangeTypeDynamic;
  static const Forma::String8 rangeTypeSrgb;
  static const Forma::String8 rangeTypeBgpSrgb;
  static const Forma::String8 rangeTypeSrlb;
  static const Forma::String8 rangeTypeL2evpn;
};

}  // namespace Mpls
