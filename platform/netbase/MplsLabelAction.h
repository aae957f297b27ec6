/// What a next hop does to the label stack.
#pragma once

#include <cstdint>

#include "platform/forma/Enum.h"
#include "platform/netbase/Namespace.h"

namespace Netbase {

/// Numbers are on the wire and in shared memory.
enum MplsLabelAction : std::uint8_t {
  undefinedLabelAction_ = 0,
  push_ = 1,  ///< puts a label on top of the stack
  pop_ = 2,   ///< removes the top label
  swap_ = 3   ///< replaces the top label
};
FORMA_ENUM(Netbase, MplsLabelAction, undefinedLabelAction, push, pop, swap)

}  // namespace Netbase
