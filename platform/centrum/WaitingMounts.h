/// Mounts that wait for their path.
///
/// Thread    that of the event loop.
/// Cost      O(log n) for one, of n that wait.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/centrum/Database.h"

namespace Centrum {

class ServerConnection;

struct WaitingMount {
  ServerConnection* connection;
  std::string name;  ///< of the path, without needless slashes
  Message::Mount asked;
};

class WaitingMounts {
 public:
  /// A connection that waits for more is closed.
  static constexpr std::size_t limit = 1U << 16;

  /// Raises RangeException when the connection waits for too many.
  void add(WaitingMount mount);
  /// Takes those out that a new path concerns: mounts of the directories above, which may have been
  /// made for it; of the path, with `itself`; and those below it that wait in vain, when it is no
  /// directory.
  std::vector<WaitingMount> take(const Path& path, bool itself);
  /// The connection waits for nothing any more.
  void forget(const ServerConnection& connection);

 private:
  using Map = std::multimap<std::string, WaitingMount, std::less<>>;
  void take(Map::iterator first, Map::iterator last, std::vector<WaitingMount>& out);

  Map waiting_;  // by name
};

}  // namespace Centrum
