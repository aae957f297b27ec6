#include "platform/centrum/LocalEntityManager.h"

#include "platform/centrum/LocalMountGroup.h"
#include "platform/centrum/PathNames.h"

namespace Centrum {

LocalEntityManager::LocalEntityManager(Kiln::EventLoop& loop, const Forma::TypeRegistry& registry)
    : loop_(loop), registry_(registry), root_(Forma::dirFactory(Forma::Name())) {}

LocalEntityManager::~LocalEntityManager() = default;

Forma::Ptr<Forma::Entity> LocalEntityManager::getEntity(const Forma::String8& path) const {
  Forma::Ptr<Forma::Entity> at = root_;
  for (const std::string_view name : pathNames(path)) {
    const auto dir = Forma::ptrCast<Forma::Dir>(at);
    if (!dir) return nullptr;
    at = dir->entry(Forma::Name(name));
    if (!at) return nullptr;
  }
  return at;
}

Forma::Ptr<MountGroup> LocalEntityManager::getMountGroup() {
  return Forma::Ptr<MountGroup>(new LocalMountGroup(Forma::Ptr<LocalEntityManager>(this)));
}

void LocalEntityManager::commit(const Forma::String8& /*path*/) {}

Forma::Ptr<Forma::Entity> LocalEntityManager::newEntity(std::string_view path,
                                                        std::string_view typeName) {
  const auto names = pathNames(path);
  if (names.empty()) Forma::throwNameException("the root directory cannot be made again");
  Forma::Ptr<Forma::Dir> dir = root_;
  for (std::size_t i = 0; i + 1 < names.size(); ++i)
    dir = Forma::ptrCast<Forma::Dir>(
        dir->newEntity(registry_, Forma::Dir::formaTypeName, Forma::Name(names[i])));
  return dir->newEntity(registry_, typeName, Forma::Name(names.back()));
}

void LocalEntityManager::close() {
  const auto pending = std::exchange(pending_, {});
  for (const auto& group : pending) group->cancel();
}

Forma::Ptr<LocalEntityManager> localEntityManagerFactory(Kiln::EventLoop& loop,
                                                         const Forma::TypeRegistry& registry) {
  return Forma::Ptr<LocalEntityManager>(new LocalEntityManager(loop, registry));
}

}  // namespace Centrum
