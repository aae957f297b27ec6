/// What every header of this folder needs in its namespaces: the text functions of Forma, callable
/// as `Netbase::valueToStrep(v)` and `L3::strepToValue(text, &v)`.
#pragma once

#include "platform/forma/Value.h"

namespace Netbase {
FORMA_TEXT_FUNCTIONS
}  // namespace Netbase

namespace L3 {
FORMA_TEXT_FUNCTIONS
}  // namespace L3
