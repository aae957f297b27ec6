/// The text of a file.
#pragma once

#include <string>

namespace StaticRoutes {

/// All bytes of a file. Raises std::system_error with the reason; EFBIG above 1 GiB, so that a
/// device without end is no trap. A pipe is read to its end, unless `mayWait` is false: whoever
/// serves an event loop must not wait for a writer, and gets EOPNOTSUPP.
std::string fileText(const std::string& path, bool mayWait);

}  // namespace StaticRoutes
