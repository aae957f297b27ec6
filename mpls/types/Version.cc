#include "mpls/types/Version.h"

namespace Mpls {

std::string_view libraryVersion() { return MPLS_VERSION; }

}  // namespace Mpls
