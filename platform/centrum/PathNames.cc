#include "platform/centrum/PathNames.h"

#include <algorithm>

namespace Centrum {

std::vector<std::string_view> pathNames(std::string_view path) {
  std::vector<std::string_view> names;
  while (!path.empty()) {
    const std::size_t size = std::min(path.find('/'), path.size());
    if (size != 0) names.push_back(path.substr(0, size));
    path.remove_prefix(std::min(size + 1, path.size()));
  }
  return names;
}

std::string canonicalPath(std::string_view path) {
  std::string joined;
  for (const std::string_view name : pathNames(path))
    joined.append(joined.empty() ? "" : "/").append(name);
  return joined;
}

}  // namespace Centrum
