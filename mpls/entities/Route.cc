#include "mpls/entities/Route.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(Route)

Route::~Route() = default;

bool Route::sameContent(const Route& other) const {
  if (dynamic() != other.dynamic() || vias() != other.vias()) return false;
  bool same = true;
  via_.map.forEach([&](const Via& via, bool flag) {
    if (!same) return;
    const bool* const there = other.viaFind(via);
    same = there && *there == flag;
  });
  return same;
}

}  // namespace Mpls
