/// Paths: names joined by "/".
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"

namespace Centrum {

/// The names of a path, without empty ones ("a//b/" is "a/b").
MPLS_EXPORT std::vector<std::string_view> pathNames(std::string_view path);
/// The path in the one form that names it: its names, joined by "/".
MPLS_EXPORT std::string canonicalPath(std::string_view path);

}  // namespace Centrum
