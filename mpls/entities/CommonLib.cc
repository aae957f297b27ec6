#include "mpls/entities/CommonLib.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(CommonLib)

CommonLib::~CommonLib() = default;

}  // namespace Mpls
