/// The base of what copies entities of one type in a way of its own.
#pragma once

#include <string_view>

#include "platform/forma/Entity.h"
#include "platform/session/CopyPath.h"

namespace Session {

class EntityCopy;

/// Found by the name of the type that it handles (CopyHandlers.h).
///
/// Thread    one: that of the agent's event loop.
class MPLS_EXPORT EntityCopyHandler : public Forma::Entity {
 public:
  ~EntityCopyHandler() override;

  /// The full name of the type whose entities it copies; lives as long as the process.
  virtual std::string_view handledType() const = 0;
  /// Called before the first copy; may be called again.
  virtual void initialize() {}
  /// Makes `dest` what `src` is, both of the handled type; `path` is that of the entity. Whether
  /// the copy succeeded. What fails of it is entered in `entityCopy` (EntityCopy::attempt).
  virtual bool handleEntity(EntityCopy& entityCopy, const Forma::Ptr<Forma::Entity>& dest,
                            const Forma::PtrConst<Forma::Entity>& src, const CopyPath& path) = 0;

 protected:
  EntityCopyHandler() = default;
};

}  // namespace Session
