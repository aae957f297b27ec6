#include "platform/session/CopyHandlers.h"

#include <string>

#include "platform/forma/EntityType.h"
#include "platform/forma/Errors.h"

namespace Session {

void CopyHandlers::add(const Forma::Ptr<EntityCopyHandler>& handler) {
  const std::string_view type = Forma::validPtr(handler)->handledType();
  const auto [at, added] = handlers_.emplace(type, handler);
  if (!added && at->second != handler)
    Forma::throwNameException(std::string(type) + " has a copy handler already");
  handler->initialize();
}

void CopyHandlers::addAllOf(const Forma::Ptr<Forma::Entity>& dir) {
  for (const Forma::MemberType& member : Forma::validPtr(dir)->formaType().members) {
    using Kind = Forma::MemberKind;
    if (member.kind != Kind::child && member.kind != Kind::children && member.kind != Kind::entries)
      continue;
    member.each(*dir, [&](const void* /*key*/, const void* element) {
      const Forma::Ptr<Forma::Entity> one(
          const_cast<Forma::Entity*>(static_cast<const Forma::Entity*>(element)));
      if (const auto handler = Forma::ptrCast<EntityCopyHandler>(one)) add(handler);
      else if (member.kind == Kind::entries) addAllOf(one);
    });
  }
}

EntityCopyHandler* CopyHandlers::find(std::string_view typeName) const {
  const auto found = handlers_.find(typeName);
  return found == handlers_.end() ? nullptr : found->second.get();
}

}  // namespace Session
