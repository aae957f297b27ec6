#include "platform/centrum/EntityManager.h"

namespace Centrum {

MountCallback::~MountCallback() = default;
MountGroup::~MountGroup() = default;
EntityManager::~EntityManager() = default;

}  // namespace Centrum
