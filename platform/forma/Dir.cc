#include "platform/forma/Dir.h"

namespace Forma {

FORMA_DEFINE_ENTITY(Dir)

Dir::~Dir() = default;

void Dir::entryIs(Ptr<Entity> child) {
  if (!child) throwNullParameter(formaTypeName, "entry");
  for (const Entity* above = this; above; above = above->parent())
    if (above == child.get())
      throwRangeException("Dir::entry that holds the directory not allowed");
  if (child->parent() && child->parent() != this) child->deletedIs(true);
  formaMayChange();
  const Name name = child->name();
  formaFile(std::move(child));
  entryNotify(name);
}

void Dir::formaFile(Ptr<Entity> child) {
  const Name name = child->name();
  Ptr<Entity> before = entry(name);
  if (before && before != child) before->formaOrphan();
  adoptApart(*child, formaIndex("entry"), false);
  entry_.map.put(name, std::move(child));
}

bool Dir::drop(const Name& name) {
  Ptr<Entity> gone;
  if (!entry_.map.take(name, &gone)) return false;
  entry_.removed(gone);
  return true;
}

Ptr<Entity> Dir::newEntity(const TypeRegistry& registry, std::string_view typeName, Name name) {
  const EntityType& type = registry.entity(typeName);
  if (Ptr<Entity> there = entry(name)) {
    if (there->formaType().name == type.name) return there;
    throwNotA(*there, typeName);
  }
  if (!type.make) throwNameException(std::string(typeName) + " cannot be made from a name alone");
  Ptr<Entity> made = type.make(name);
  entryIs(made);
  return made;
}

void Dir::formaEntries(MemberType& type, Entries Dir::*) {
  const auto as = [](const Entity& e) -> const Dir& { return static_cast<const Dir&>(e); };
  const auto name = [](const void* key) -> const Name& { return *static_cast<const Name*>(key); };
  type.keyType = typeName<Name>();
  type.valueType = "Forma::Entity";
  type.size = [as](const Entity& e) { return as(e).entrys(); };
  type.each = [as](const Entity& e, const MemberType::Visit& visit) {
    for (const auto& one : as(e).entryIteratorConst())
      visit(&one.key, static_cast<const Entity*>(one.value.get()));
  };
  type.find = [as, name](const Entity& e, const void* key) -> const void* {
    return static_cast<const Entity*>(as(e).entry_.find(name(key)));
  };
  type.erase = [name](Entity& e, const void* key) { static_cast<Dir&>(e).entryDel(name(key)); };
  type.eraseChild = [](Entity& e, const Entity& child) {
    auto& self = static_cast<Dir&>(e);
    const Name key = child.name();
    if (self.entry_.find(key) == &child) self.entryDel(key);
  };
  type.replica.key = &wireFormOf<Name>;
  type.replica.tell = [name](const Entity& e, const void* key) {
    static_cast<const Dir&>(e).entryNotify(name(key));
  };
  type.replica.drop = [name](Entity& e, const void* key) {
    return static_cast<Dir&>(e).drop(name(key));
  };
  type.notifyChild = [](Entity& e, const Entity& child) {
    static_cast<Dir&>(e).entryNotify(child.name());
  };
}

}  // namespace Forma
