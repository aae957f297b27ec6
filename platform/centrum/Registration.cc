#include "platform/centrum/Registration.h"

#include "platform/centrum/ConnectedEntityManager.h"
#include "platform/centrum/EntityManager.h"
#include "platform/centrum/ServerStatus.h"
#include "platform/forma/Dir.h"

namespace Centrum {

void registerTypes(Forma::TypeRegistry& registry) {
  registry.add<MountStatus, PathStatus, ClientStatus>();
  registry.addEntity<Forma::Dir, UnknownEntity, Status>();
}

}  // namespace Centrum
