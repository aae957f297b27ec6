#include "mpls/routeconfig/CopyHandlerDir.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(CopyHandlerDir)

CopyHandlerDir::~CopyHandlerDir() = default;

}  // namespace Mpls
