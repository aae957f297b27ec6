/// The namespaces of the MPLS types, and the text functions that can be called in each:
/// `Mpls::valueToStrep(v)`, `Mpls::strepToValue(text, &v)`, `Mpls::sequenceToValue(begin, end,
/// &v)`.
#pragma once

#include "platform/forma/Value.h"

namespace Mpls {

FORMA_TEXT_FUNCTIONS

namespace LFib {
FORMA_TEXT_FUNCTIONS
}  // namespace LFib

namespace Hardware {
FORMA_TEXT_FUNCTIONS
}  // namespace Hardware

namespace SegmentRouting {
FORMA_TEXT_FUNCTIONS
}  // namespace SegmentRouting

}  // namespace Mpls
