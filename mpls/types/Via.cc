#include "mpls/types/Via.h"

namespace Mpls {

static_assert(sizeof(Via) == 64, "a via fills one cache line");
static_assert(Forma::relocatable<Via>());

FORMA_DEFINE_VALUE(Via)

}  // namespace Mpls
