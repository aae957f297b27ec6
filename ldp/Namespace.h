/// The namespaces of the LDP types, and the text functions that can be called in each:
/// `Ldp::valueToStrep(v)`, `Ldp::strepToValue(text, &v)`, `Ldp::sequenceToValue(begin, end, &v)`.
#pragma once

#include "platform/forma/Value.h"

namespace Ldp {

FORMA_TEXT_FUNCTIONS

namespace LdpTarn {
FORMA_TEXT_FUNCTIONS
}  // namespace LdpTarn

}  // namespace Ldp
