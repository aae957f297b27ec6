#include "platform/forma/EntityType.h"

namespace Forma {

void throwReinstantiating(const Entity& entity, std::string_view argument, std::string_view asked,
                          std::string_view made) {
  std::string text = "Reinstantiating the entity with name ";
  text.append(entity.name().view());
  text.append(" where constructor parameter attribute _").append(argument);
  text.append(" has a different value of ").append(asked);
  text.append(" than the current value of ").append(made).append(" not allowed");
  throwRangeException(text);
}

void throwNotA(const Entity& entity, std::string_view type) {
  std::string text = "\"" + entity.fullName();
  text.append("\" is a ").append(entity.formaType().name).append(", not a ").append(type);
  throwNameException(text);
}

}  // namespace Forma
