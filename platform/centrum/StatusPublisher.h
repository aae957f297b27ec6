/// Publishes the status of a server in its own database, while somebody reads it.
///
/// Thread    that of the event loop.
/// Cost      nothing while nobody reads it; otherwise a walk over paths and connections, once a
///           second at most.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/centrum/MountTable.h"
#include "platform/centrum/ServerStatus.h"

namespace Centrum {

class StatusPublisher {
 public:
  /// Seconds between two states that are published.
  static constexpr double period = 1.0;
  using EachConnection = std::function<void(const std::function<void(ServerConnection&)>&)>;

  /// Creates the path.
  StatusPublisher(ServerShared& shared, MountTable& table, EachConnection eachConnection);

  /// To be called when a connection was closed for what its client sent.
  void badConnection(const std::string& reason);
  /// To be called at the end of each turn.
  void turnEnded();

 private:
  void publish();
  Forma::Ptr<Status> status() const;
  void addPaths(Status& status) const;
  void addClients(Status& status) const;
  PathStatus pathStatus(Path& path) const;
  ClientStatus clientStatus(const ServerConnection& connection) const;

  ServerShared& shared_;
  MountTable& table_;
  const EachConnection eachConnection_;
  const double started_;
  Path& path_;
  Kiln::Timer timer_;
  std::uint64_t badConnections_ = 0;
  std::string lastBadReason_;
  std::uint64_t published_ = 0;  // the activity of that moment
  double publishedAt_;
};

}  // namespace Centrum
