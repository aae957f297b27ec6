#include "platform/centrum/ClientTree.h"

#include "platform/centrum/ConnectedEntityManager.h"
#include "platform/centrum/PathNames.h"

namespace Centrum {

namespace {

Forma::Ptr<Forma::Dir> asDir(const Forma::Ptr<Forma::Entity>& entity) {
  return Forma::ptrCast<Forma::Dir>(entity);
}

}  // namespace

ClientTree::ClientTree(const Forma::TypeRegistry& registry, Forma::ContentApplier& applier)
    : registry_(registry), applier_(applier), treeRoot_(new TreeRoot), root_(treeRoot_) {
  root_->formaReplicaIs(Forma::Replica::copy);
}

Forma::Ptr<Forma::Entity> ClientTree::find(std::string_view path) const {
  Forma::Ptr<Forma::Entity> at = root_;
  for (const std::string_view name : pathNames(path)) {
    const auto dir = asDir(at);
    at = dir ? dir->entry(Forma::Name(name)) : nullptr;
    if (!at) break;
  }
  return at;
}

Forma::Ptr<Forma::Entity> ClientTree::findOrMake(std::string_view path,
                                                 const Forma::EntityType& type,
                                                 const Forma::Ptr<Forma::Entity>& wanted) {
  Forma::Ptr<Forma::Entity> at = root_;
  const auto names = pathNames(path);
  for (std::size_t i = 0; i < names.size(); ++i) {
    const auto dir = asDir(at);
    if (!dir) return nullptr;
    const bool last = i + 1 == names.size();
    at = dir->entry(Forma::Name(names[i]));
    if (last && wanted && at != wanted && (!at || at->formaType().name == type.name)) {
      wanted->formaReplicaIs(Forma::Replica::copy);
      put(*dir, at = wanted);
    }
    if (at) continue;
    entryIs(*dir, names[i], last ? type.name : Forma::Dir::formaTypeName);
    at = dir->entry(Forma::Name(names[i]));
  }
  return at->formaType().name == type.name ? at : nullptr;
}

void ClientTree::entryIs(Forma::Dir& dir, std::string_view name, std::string_view typeName) {
  const Forma::Ptr<Forma::Entity> there = dir.entry(Forma::Name(name));
  if (there && there->formaType().name == typeName) return;
  const Forma::EntityType* type = typeName == Forma::Dir::formaTypeName
                                      ? &Forma::Dir::formaEntityType()
                                      : registry_.findEntity(typeName);
  Forma::Ptr<Forma::Entity> made =
      type && type->make ? type->make(Forma::Name(name)) : Forma::Ptr<Forma::Entity>();
  if (!made) {
    if (there && there->formaType().name == UnknownEntity::formaTypeName) return;
    made = new UnknownEntity(Forma::Name(name));
  }
  made->formaReplicaIs(Forma::Replica::copy);
  put(dir, made);
}

void ClientTree::entryDel(Forma::Dir& dir, std::string_view name) {
  const Forma::MemberType& entries = *dir.formaType().findMember("entry");
  const Forma::Name key(name);
  if (entries.replica.drop(dir, &key)) note(dir, name);
}

bool ClientTree::keeps(const Forma::Entity& entity) const {
  const std::string name = entity.fullName();
  if (kept_.contains(name)) return true;
  const auto below = kept_.lower_bound(name + '/');
  return below != kept_.end() && below->starts_with(name + '/');
}

void ClientTree::put(Forma::Dir& dir, const Forma::Ptr<Forma::Entity>& entity) {
  dir.formaFile(entity);
  note(dir, entity->name().view());
}

void ClientTree::note(Forma::Dir& dir, std::string_view name) {
  std::string key;
  Forma::encode(key, Forma::Name(name));
  applier_.note(dir, *dir.formaType().findMember("entry"), key);
}

}  // namespace Centrum
