/// Whether the label bindings of a FEC are held back from the peers by a filter.
#pragma once

#include <cstdint>

#include "mpls/types/Namespace.h"

namespace Mpls {

enum FecFilteredState : std::uint8_t {
  fecFilteredStateUnknown_ = 0,
  fecFilteredStateFiltered_ = 1,
  fecFilteredStateUnfiltered_ = 2,
};
FORMA_ENUM(Mpls, FecFilteredState, fecFilteredStateUnknown, fecFilteredStateFiltered,
           fecFilteredStateUnfiltered)

}  // namespace Mpls
