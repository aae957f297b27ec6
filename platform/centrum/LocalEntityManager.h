/// The central state database of one process: for tests, and for agents that share with nobody.
///
/// Thread    that of the event loop.
/// Life      a pending mount keeps its callback, which may keep its state machine, which keeps the
///           entity manager: call close() before the agent drops it.
#pragma once

#include <string_view>
#include <vector>

#include "platform/centrum/EntityManager.h"
#include "platform/forma/Dir.h"
#include "platform/kiln/EventLoop.h"

namespace Centrum {

class LocalMountGroup;

class MPLS_EXPORT LocalEntityManager : public EntityManager {
 public:
  /// Loop and registry must outlive the entity manager.
  LocalEntityManager(Kiln::EventLoop& loop, const Forma::TypeRegistry& registry);
  ~LocalEntityManager() override;

  Forma::Ptr<Forma::Entity> getEntity(const Forma::String8& path) const override;
  Forma::Ptr<MountGroup> getMountGroup() override;
  /// Does nothing: what is written here is seen at once.
  void commit(const Forma::String8& path) override;

  const Forma::Ptr<Forma::Dir>& root() const { return root_; }
  /// Gets or creates the entity at `path`, and the directories above. Raises NameException when the
  /// type is not known, or an entity of another type is in the way.
  Forma::Ptr<Forma::Entity> newEntity(std::string_view path, std::string_view typeName);

  /// Drops the mounts that are pending; their callbacks are not called any more.
  void close();
  /// How many closed groups have not completed.
  std::size_t pendingMounts() const { return pending_.size(); }

 private:
  friend class LocalMountGroup;

  Kiln::EventLoop& loop_;
  const Forma::TypeRegistry& registry_;
  Forma::Ptr<Forma::Dir> root_;
  std::vector<Forma::Ptr<LocalMountGroup>> pending_;
};

/// Makes the entity manager of one process.
MPLS_EXPORT Forma::Ptr<LocalEntityManager> localEntityManagerFactory(
    Kiln::EventLoop& loop, const Forma::TypeRegistry& registry);

}  // namespace Centrum
