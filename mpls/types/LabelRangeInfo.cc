#include "mpls/types/LabelRangeInfo.h"

namespace Mpls {

const Forma::String8 LabelRangeInfo::rangeTypeStatic = "static";
const Forma::String8 LabelRangeInfo::rangeTypeDynamic = "dynamic";
const Forma::String8 LabelRangeInfo::rangeTypeSrgb = "isis-sr";
const Forma::String8 LabelRangeInfo::rangeTypeBgpSrgb = "bgp-sr";
const Forma::String8 LabelRangeInfo::rangeTypeSrlb = "srlb";
const Forma::String8 LabelRangeInfo::rangeTypeL2evpn = "l2evpn";

}  // namespace Mpls
