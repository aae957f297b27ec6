#include "platform/session/EntityCopy.h"

#include "platform/forma/EntityType.h"
#include "platform/session/MemberCopy.h"

namespace Session {

using Forma::Entity;
using Forma::EntityType;
using Forma::MemberType;
using Forma::Ptr;
using Forma::PtrConst;

namespace {

/// For each member of the type, whether `filter` names it.
std::vector<bool> filtered(const EntityType& type, const AttributeFilter& filter) {
  std::vector<bool> members(type.members.size());
  for (const auto& one : filter.attributeIteratorConst()) {
    const MemberType* const member = type.findMember(one.key);
    if (!member)
      Forma::throwNameException("the filter names " + std::string(one.key.view()) + ", which a " +
                                std::string(type.name) + " does not have");
    members[member->index] = true;
  }
  return members;
}

}  // namespace

bool EntityCopy::copyEntity(const Ptr<Entity>& dest, const PtrConst<Entity>& src,
                            const CopyPath& path) {
  EntityCopyHandler* const handler = handlers_.find(Forma::validPtr(src)->formaType().name);
  if (!handler || Forma::validPtr(dest)->formaType().name != src->formaType().name)
    return copyAttributes(dest, src, path);
  const Ptr<EntityCopyHandler> keep(handler);
  const std::size_t before = failed_;
  bool copied = true;
  attempt(path, [&] { copied = handler->handleEntity(*this, dest, src, path); });
  if (!copied && failed_ == before) fail(path, "refused by its copy handler");
  return failed_ == before;
}

bool EntityCopy::copyEntity(const Ptr<Entity>& dest, const PtrConst<Entity>& src) {
  return copyEntity(dest, src, Forma::validPtr(dest)->fullName());
}

bool EntityCopy::copyAttributes(const Ptr<Entity>& dest, const PtrConst<Entity>& src,
                                const CopyPath& path, const PtrConst<AttributeFilter>& filter) {
  const EntityType& type = Forma::validPtr(src)->formaType();
  const EntityType& its = Forma::validPtr(dest)->formaType();
  const std::size_t before = failed_;
  attempt(path, [&] {
    if (its.name != type.name) Forma::throwNotA(*dest, type.name);
    if (dest == src) return;
    const std::vector<bool> skip = filter ? filtered(type, *filter) : std::vector<bool>();
    for (const MemberType& member : type.members)
      if (!filter || !skip[member.index]) MemberCopy(*this, member, *dest, *src, path).run();
  });
  return failed_ == before;
}

void EntityCopy::fail(const CopyPath& path, std::string_view text) {
  if (failed_++ < failuresKept) failures_.push_back({path.text(), std::string(text)});
}

}  // namespace Session
