/// What the server of the central database tells about itself, at "centrum/status".
///
/// Thread    that of the event loop.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/forma/Declare.h"

namespace Centrum {

/// Where the server publishes its Status.
constexpr std::string_view statusPath = "centrum/status";

/// One path of the database.
class MPLS_EXPORT PathStatus {
  FORMA_VALUE(Centrum::PathStatus, typeName, owner, ownerPresent, ownerAge, writer, subscribers,
              cells, tombstones, bytes, sequence)
  /// Full name of the entity's type.
  FORMA_FIELD(Forma::String8, typeName)
  /// "name (pid 12, uid 0)"; the last one when it is not present.
  FORMA_FIELD(Forma::String8, owner)
  FORMA_FIELD(bool, ownerPresent, false)
  /// Seconds since the owner went; 0 while it is present.
  FORMA_FIELD(double, ownerAge, 0)
  /// The instance that wrote last; 0 for none.
  FORMA_FIELD(std::uint64_t, writer, 0)
  /// Connections that read it.
  FORMA_FIELD(std::uint32_t, subscribers, 0)
  /// Attributes and elements that are there.
  FORMA_FIELD(std::uint64_t, cells, 0)
  /// Those that were erased, and are kept so that slow readers hear of it.
  FORMA_FIELD(std::uint64_t, tombstones, 0)
  /// Of keys and values.
  FORMA_FIELD(std::uint64_t, bytes, 0)
  /// Of the newest change.
  FORMA_FIELD(std::uint64_t, sequence, 0)

 public:
  PathStatus() = default;
};

/// One connection.
class MPLS_EXPORT ClientStatus {
  FORMA_VALUE(Centrum::ClientStatus, name, pid, uid, mayWrite, pathsMounted, pathsOwned,
              mountsWaiting, lag, bytesIn, bytesOut, stalled, connectedFor)
  /// As it calls itself.
  FORMA_FIELD(Forma::String8, name)
  FORMA_FIELD(std::uint32_t, pid, 0)
  FORMA_FIELD(std::uint32_t, uid, 0)
  /// Whether it may own paths.
  FORMA_FIELD(bool, mayWrite, false)
  FORMA_FIELD(std::uint32_t, pathsMounted, 0)
  /// Those of them that it owns.
  FORMA_FIELD(std::uint32_t, pathsOwned, 0)
  /// Mounts of paths that nobody has created.
  FORMA_FIELD(std::uint32_t, mountsWaiting, 0)
  /// Changes of the database since the one that it has of all that it reads; 0 when it has all.
  FORMA_FIELD(std::uint64_t, lag, 0)
  /// Received from it and sent to it.
  FORMA_FIELD(std::uint64_t, bytesIn, 0)
  FORMA_FIELD(std::uint64_t, bytesOut, 0)
  /// Nothing was heard of it for a while.
  FORMA_FIELD(bool, stalled, false)
  /// Seconds.
  FORMA_FIELD(double, connectedFor, 0)

 public:
  ClientStatus() = default;
};

/// Brought up to date once a second at most, while somebody reads it; ages alone are no reason.
class MPLS_EXPORT Status : public Forma::NamedEntity {
  FORMA_ENTITY(Centrum::Status, Forma::NamedEntity, epoch, sequence, startedAgo, logBytes,
               logProblem, badConnections, lastBadReason, path, client)
  /// The name of the database.
  FORMA_ATTRIBUTE(std::uint64_t, epoch, onEpoch, 0)
  /// Of the newest change.
  FORMA_ATTRIBUTE(std::uint64_t, sequence, onSequence, 0)
  /// Seconds since the server started.
  FORMA_ATTRIBUTE(double, startedAgo, onStartedAgo, 0)
  /// Of the log; 0 when there is none.
  FORMA_ATTRIBUTE(std::uint64_t, logBytes, onLogBytes, 0)
  /// What keeps the log from being written; empty when nothing does.
  FORMA_ATTRIBUTE(Forma::String8, logProblem, onLogProblem)
  /// Connections that were closed for what their clients sent.
  FORMA_ATTRIBUTE(std::uint64_t, badConnections, onBadConnections, 0)
  /// Who was the last of them, and what was wrong.
  FORMA_ATTRIBUTE(Forma::String8, lastBadReason, onLastBadReason)
  /// All paths, by full name; that of the root directory is empty.
  FORMA_VALUES(Forma::Name, PathStatus, path, newPath, onPath)
  /// All connections, by a number that is not used again.
  FORMA_VALUES(std::uint32_t, ClientStatus, client, newClient, onClient)

 public:
  class NotifieeConst : public Forma::NotifieeOf<Status> {
   public:
    virtual void onEpoch() {}
    virtual void onSequence() {}
    virtual void onStartedAgo() {}
    virtual void onLogBytes() {}
    virtual void onLogProblem() {}
    virtual void onBadConnections() {}
    virtual void onLastBadReason() {}
    virtual void onPath(const Forma::Name& /*fullName*/) {}
    virtual void onClient(const std::uint32_t& /*number*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<Status, NotifieeConst>;

  explicit Status(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~Status() override;
};

FORMA_FACTORY(statusFactory, Status, Forma::Name)

}  // namespace Centrum
