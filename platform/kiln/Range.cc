#include "platform/kiln/Range.h"

namespace Kiln {

FORMA_DEFINE_VALUE(Range)

}  // namespace Kiln
