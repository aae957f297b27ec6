#include "platform/centrum/WaitingMounts.h"

#include <utility>

#include "platform/centrum/ServerConnection.h"
#include "platform/forma/Errors.h"

namespace Centrum {

void WaitingMounts::add(WaitingMount mount) {
  if (mount.connection->waiting == limit)
    Forma::throwRangeException("more than " + std::to_string(limit) + " mounts wait");
  ++mount.connection->waiting;
  std::string name = mount.name;
  waiting_.emplace(std::move(name), std::move(mount));
}

std::vector<WaitingMount> WaitingMounts::take(const Path& path, bool itself) {
  std::vector<WaitingMount> taken;
  if (waiting_.empty()) return taken;
  for (const Path* made = itself ? &path : path.parent(); made; made = made->parent()) {
    const auto [first, last] = waiting_.equal_range(made->fullName());
    take(first, last, taken);
  }
  if (path.isDirectory()) return taken;
  const std::string below = path.fullName() + '/';
  const std::string behind = path.fullName() + static_cast<char>('/' + 1);
  take(waiting_.lower_bound(below), waiting_.lower_bound(behind), taken);
  return taken;
}

void WaitingMounts::take(Map::iterator first, Map::iterator last, std::vector<WaitingMount>& out) {
  for (auto one = first; one != last; ++one) {
    --one->second.connection->waiting;
    out.push_back(std::move(one->second));
  }
  waiting_.erase(first, last);
}

void WaitingMounts::forget(const ServerConnection& connection) {
  if (connection.waiting == 0) return;
  std::erase_if(waiting_, [&](const auto& one) { return one.second.connection == &connection; });
}

}  // namespace Centrum
