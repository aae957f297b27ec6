/// The server of the central database: connections, ownership, subscribers, heartbeats, around a
/// Database and its log. It links no type but its own status: content is opaque to it.
///
/// Thread    that of the event loop.
/// Turn      what arrived in a turn is applied, then logged in one write, then forwarded.
/// Restart   all of it is in the log; without one, it starts empty under a new epoch and is filled
///           again by those who own the paths.
/// Cost      a change costs a lookup and a write, whatever the number of subscribers; each of them
///           costs the sending. Idle costs a Beat for each connection every beatSeconds.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/centrum/DatabaseLog.h"
#include "platform/centrum/Stream.h"
#include "platform/kiln/EventLoop.h"

namespace Centrum {

struct ServerOptions {
  Epoch freshEpoch = 0;                ///< of a database that starts without a log; 0: a random one
  std::size_t snapshotsAtOnce = 16;    ///< further ones wait their turn
  std::size_t chunkBytes = 64U << 10;  ///< of one Delta
  std::size_t batchLimit = 512U << 20;  ///< bytes of one unfinished batch
  /// Hears, in the loop, what people should know: clients that sent nonsense, a log that cannot be
  /// written. May be empty.
  std::function<void(const std::string&)> report;
};

class MPLS_EXPORT Server {
 public:
  /// Serves at once. `log` may be null. Raises what DatabaseLog raises.
  Server(Kiln::EventLoop& loop, std::unique_ptr<Listener> listener, std::unique_ptr<LogFile> log,
         ServerOptions options = {});
  /// Closes all connections without a word, as a kill would.
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  const Database& database() const;
  const DatabaseLog& log() const;
  std::size_t connections() const;
  /// Tells all peers `reason`, and closes their connections.
  void close(const std::string& reason);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace Centrum
