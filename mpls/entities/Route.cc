#include "mpls/entities/Route.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(Route)

Route::~Route() = default;

}  // namespace Mpls
