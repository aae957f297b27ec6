/// Paths: names joined by "/".
#pragma once

#include <string_view>
#include <vector>

#include "platform/Export.h"

namespace Centrum {

/// The names of a path, without empty ones ("a//b/" is "a/b").
MPLS_EXPORT std::vector<std::string_view> pathNames(std::string_view path);

}  // namespace Centrum
