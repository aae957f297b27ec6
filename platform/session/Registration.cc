#include "platform/session/Registration.h"

#include "platform/session/AttributeFilter.h"

namespace Session {

void registerTypes(Forma::TypeRegistry& registry) { registry.addEntity<AttributeFilter>(); }

}  // namespace Session
