#include "PortTable.h"

namespace Example {

FORMA_DEFINE_VALUE(PortCounters)
FORMA_DEFINE_ENTITY(PortStatus)

}  // namespace Example
