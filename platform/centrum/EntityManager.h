/// The agent's view of the central state database: entities at paths, and mounts of them.
///
/// A state machine knows only these interfaces, not whether the database lies in the same process
/// or behind a connection.
///
/// Thread    that of the agent's event loop; completions arrive through it.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/Export.h"
#include "platform/forma/Declare.h"
#include "platform/forma/Enum.h"

namespace Centrum {

/// The outcome of a mount group. Everything but success is definite: nothing of the group may be
/// used. A lost connection or a path that is not there yet is no outcome; the group stays pending.
enum MountStatus : std::uint8_t {
  mountPending_ = 0,    ///< not complete; never handed to a callback
  mountRefused_ = 1,    ///< the type is not known, or the right is missing
  mountWrongType_ = 2,  ///< an entity of another type is there, or a parent is no directory
  mountRemoved_ = 3,    ///< the path was taken away
  mountSuccess_ = 4
};
FORMA_ENUM(Centrum, MountStatus, mountPending, mountRefused, mountWrongType, mountRemoved,
           mountSuccess)

/// Raises RangeException for what is no mode of MountGroup::doMount.
MPLS_EXPORT void checkMountMode(const Forma::String8& mode);

class EntityManager;

/// Who is told that a mount group is complete.
class MPLS_EXPORT MountCallback : public Forma::PtrInterface {
 public:
  /// Called once, in the event loop, never from inside doClose.
  virtual void doMountsComplete(MountStatus status, Forma::Ptr<EntityManager> em) = 0;
  ~MountCallback() override;
};

/// An entity that waits for a mount group, for machines that keep theirs in a collection.
class MPLS_EXPORT Mounter : public Forma::NamedEntity {
 public:
  explicit Mounter(Forma::Name name) : NamedEntity(std::move(name)) {}
  ~Mounter() override;
  /// As that of MountCallback.
  virtual void doMountsComplete(MountStatus status, Forma::Ptr<EntityManager> em) = 0;
};

/// The callback that passes a completion on to `mounter`, and keeps it alive until then. Raises
/// NullException for none.
MPLS_EXPORT Forma::Ptr<MountCallback> mountCallback(Forma::Ptr<Mounter> mounter);

/// Mounts that complete together.
class MPLS_EXPORT MountGroup : public Forma::PtrInterface {
 public:
  /// Asks for the entity of type `typeName` at `path`.
  ///   "r"  read-only: the mount waits until somebody creates the entity.
  ///   "w"  writable, adopting: creates the entity, and the directories above, if need be, and
  ///        starts from what is published. What another process wrote while the connection was lost
  ///        is not overwritten: the mount is then refused.
  ///   "x"  writable, replacing: as "w", but starts from an empty entity. Readers keep what is
  ///        published until EntityManager::commit, then hear of the difference only.
  /// An entity has one owner; a second one is refused. A process mounts a path in one mode, or
  /// reads, besides, what it owns. Directories belong to nobody: mounted "w"
  /// they are created, and as read-only as with "r". Raises RangeException for another mode, or
  /// once the group is closed.
  virtual void doMount(const Forma::String8& path, const Forma::String8& typeName,
                       const Forma::String8& mode) = 0;
  /// Starts the mounts, `delay` seconds from now; the callback lives until it was called. Raises
  /// NullException without one and RangeException when the group was closed before.
  virtual void doClose(Forma::Ptr<MountCallback> callback, double delay = 0.0) = 0;
  ~MountGroup() override;
};

class MPLS_EXPORT EntityManager : public Forma::PtrInterface {
 public:
  /// The entity at `path` (names joined by "/"; empty for the root directory), or null.
  virtual Forma::Ptr<Forma::Entity> getEntity(const Forma::String8& path) const = 0;
  /// A new, empty mount group.
  virtual Forma::Ptr<MountGroup> getMountGroup() = 0;
  /// Publishes what the entity mounted "x" at `path` holds, and every change from now on; when it
  /// is not mounted yet, as soon as it is. Does nothing for other mounts, or a second time.
  virtual void commit(const Forma::String8& path) = 0;
  ~EntityManager() override;
};

}  // namespace Centrum
