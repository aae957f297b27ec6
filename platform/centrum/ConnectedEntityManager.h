/// The agent's view of a central database that lies behind a connection.
///
/// Entities that are mounted are copies which follow the database (read-only mounts), or the
/// originals that it publishes (writable ones). The agent may start before the server: it tries to
/// connect until it succeeds, and again whenever the connection is lost; mounts stay as they are,
/// their values the last known, until they follow again. Notifiees hear of real changes only.
///
/// Thread    that of the event loop; all network work, applying and notifying happens in it.
/// Writing   what a handler changes in a writable mount is sent at the end of the loop's turn, as
///           one batch. A change through a read-only mount raises AccessException and changes
///           nothing.
/// Life      close() before the agent drops it: pending mounts keep their callbacks.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/centrum/EntityManager.h"
#include "platform/centrum/Stream.h"
#include "platform/forma/Dir.h"
#include "platform/forma/TypeRegistry.h"
#include "platform/kiln/EventLoop.h"

namespace Centrum {

/// How a mounted path stands.
enum class MountState : std::uint8_t {
  unmounted,  ///< not mounted by this process; an entry of a mounted directory
  waiting,    ///< asked for; the server is away, or nobody has created the path
  filling,    ///< the content is on its way for the first time
  mounted,    ///< follows the database
  stale,      ///< was mounted; the values are the last known, the server is away
  refused     ///< the database refused it: see MountInfo::problem
};

struct MountInfo {
  std::string path;
  std::string typeName;
  std::string mode;  ///< as given to doMount
  MountState state = MountState::unmounted;
  double age = 0;             ///< seconds since the state began
  bool ownerPresent = false;  ///< somebody owns the path at present (for a read-only mount)
  double ownerAge = 0;        ///< seconds since the owner went
  std::string holder;         ///< the owner, or the last one: "name (pid 12, uid 0)"
  std::string problem;        ///< why it was refused
};

/// Hears what happens to the connection and the mounts; for log lines. All in the loop.
class MPLS_EXPORT ConnectionObserver {
 public:
  virtual ~ConnectionObserver();
  /// Nobody listens at `address`; told once for each time of waiting.
  virtual void onWaiting(const std::string& address, const std::string& problem);
  virtual void onConnected(const std::string& address);
  virtual void onDisconnected(const std::string& reason);
  /// No sign of life for a while (true), and again one (false). The connection is kept.
  virtual void onStalled(bool stalled);
  /// A mount waits for its path to be created.
  virtual void onMountWaits(const MountInfo& mount);
  virtual void onMountRefused(const MountInfo& mount);
  /// The owner of a path that is mounted read-only went or came (mount.ownerPresent).
  virtual void onOwner(const MountInfo& mount);
};

struct ConnectionCounters {
  std::uint64_t bytesReceived = 0;
  std::uint64_t bytesSent = 0;
  std::uint64_t changesApplied = 0;  ///< keys that differed
  std::uint64_t snapshots = 0;       ///< begun
  std::uint64_t connects = 0;
};

class MPLS_EXPORT ConnectedEntityManager : public EntityManager {
 public:
  /// Local copies of the mounted tree. Read-only: entries appear by mounting.
  virtual const Forma::Ptr<Forma::Dir>& root() const = 0;
  virtual bool connected() const = 0;
  virtual bool stalled() const = 0;
  /// How a path stands; `unmounted` when it is not known.
  virtual MountInfo mountInfo(std::string_view path) const = 0;
  virtual std::vector<MountInfo> mountInfos() const = 0;
  /// Closed groups that have not completed.
  virtual std::size_t pendingMounts() const = 0;
  /// True when all changes of writable mounts that are published are known to be kept by the
  /// server.
  virtual bool allSent() const = 0;
  virtual const ConnectionCounters& counters() const = 0;
  /// Not owned; null for none.
  virtual void observerIs(ConnectionObserver* observer) = 0;
  /// Sends what is to be sent as far as the connection takes it, drops the mounts that are pending
  /// without calling them, and closes the connection.
  virtual void close() = 0;
  ~ConnectedEntityManager() override;
};

struct ConnectionOptions {
  std::string name;  ///< of this program, for people
};

/// Makes one; it begins to connect in the loop. Loop and registry must outlive it. The registry
/// must hold all types that are mounted; entries of mounted directories of other types appear as
/// Centrum::UnknownEntity.
MPLS_EXPORT Forma::Ptr<ConnectedEntityManager> connectedEntityManagerFactory(
    Kiln::EventLoop& loop, const Forma::TypeRegistry& registry,
    std::unique_ptr<Connector> connector, ConnectionOptions options);

/// Stands for an entry whose type this process does not know.
class MPLS_EXPORT UnknownEntity : public Forma::NamedEntity {
  FORMA_ENTITY(Centrum::UnknownEntity, Forma::NamedEntity)
 public:
  class NotifieeConst : public Forma::NotifieeOf<UnknownEntity> {};
  explicit UnknownEntity(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~UnknownEntity() override;
};

}  // namespace Centrum
