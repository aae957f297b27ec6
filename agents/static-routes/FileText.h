/// The text of a file.
#pragma once

#include <string>

namespace StaticRoutes {

/// All bytes of a file. Raises std::system_error with the reason; EFBIG above 1 GiB, so that a
/// device without end is no trap.
std::string fileText(const std::string& path);

}  // namespace StaticRoutes
