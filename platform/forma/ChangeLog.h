/// Who records the changes of a tree of entities on behalf of other processes.
///
/// Thread    that of the entities.
#pragma once

#include "platform/Export.h"

namespace Forma {

class Entity;
struct MemberType;

/// Hears of each change of the entities that are originals (Entity::formaReplicaIs) below the root
/// that names it (Entity::formaLog), before notifiees do.
class MPLS_EXPORT ChangeLog {
 public:
  virtual ~ChangeLog();
  /// `member` changed: the element at `key`, or as a whole when that is null. The change is made.
  virtual void changed(const Entity& entity, const MemberType& member, const void* key) = 0;
  /// Somebody tried to change a read-only copy; nothing has changed. Raises AccessException, which
  /// says who may.
  [[noreturn]] virtual void refuse(const Entity& entity) const = 0;
};

/// What an entity is to other processes.
enum class Replica : unsigned char {
  none,      ///< known in this process alone
  original,  ///< its changes are recorded in the change log of its root
  copy       ///< follows an original elsewhere; mutators refuse
};

}  // namespace Forma
