#include "Ledger.h"

namespace Example {

FORMA_DEFINE_ENTITY(Ledger)

}  // namespace Example
