/// The version of the library.
#pragma once

#include <string_view>

#include "platform/Export.h"

namespace Mpls {

/// "MAJOR.MINOR.PATCH" of the shared library that runs, which may be newer than the headers that a
/// program was compiled with. Programs need not be compiled again while MAJOR stays the same.
///
/// Thread    any.
MPLS_EXPORT std::string_view libraryVersion();

}  // namespace Mpls
