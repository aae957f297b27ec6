#include "platform/session/MemberCopy.h"

#include <string>

#include "platform/forma/Dir.h"

namespace Session {

using Forma::Entity;
using Forma::MemberKind;
using Forma::Ptr;
using Forma::PtrConst;

namespace {

const Entity* entityAt(const void* element) { return static_cast<const Entity*>(element); }

Ptr<Entity> mutableAt(const void* element) {
  return Ptr<Entity>(const_cast<Entity*>(entityAt(element)));
}

}  // namespace

void MemberCopy::run() {
  switch (member_.kind) {
    case MemberKind::attribute:
      return attempt([&] { member_.put(dest_, nullptr, member_.find(src_, nullptr)); });
    case MemberKind::values:
      return values();
    case MemberKind::references:
      return references();
    case MemberKind::reference:
      return reference();
    case MemberKind::children:
    case MemberKind::child:
    case MemberKind::entries:
      return children();
    case MemberKind::table:
      return;
  }
}

/// Equal values are silent.
void MemberCopy::values() {
  member_.each(src_, [&](const void* key, const void* value) {
    attempt([&] { member_.put(dest_, key, value); });
  });
  removeOthers();
}

void MemberCopy::references() {
  member_.each(src_, [&](const void* key, const void* element) {
    if (member_.find(dest_, key) == element) return;
    const PtrConst<Entity> from(entityAt(element));
    attempt([&] { member_.put(dest_, key, &from); });
  });
  removeOthers();
}

void MemberCopy::reference() {
  const PtrConst<Entity> from(entityAt(member_.find(src_, nullptr)));
  if (from.get() == entityAt(member_.find(dest_, nullptr))) return;
  attempt([&] { member_.put(dest_, nullptr, &from); });
}

void MemberCopy::children() {
  member_.each(src_, [&](const void* key, const void* found) {
    const PtrConst<Entity> from(entityAt(found));
    const bool entries = member_.kind == MemberKind::entries;
    element(key, *from,
            {above_, entries ? std::string_view() : member_.name, key ? from.get() : nullptr});
  });
  removeOthers();
}

void MemberCopy::element(const void* key, const Entity& from, const CopyPath& path) {
  Ptr<Entity> to;
  const auto find = [&] {
    to = member_.kind == MemberKind::entries ? entry(from) : child(key, from);
  };
  if (copy_.attempt(path, find)) copy_.copyEntity(to, PtrConst<Entity>(&from), path);
}

/// The child that was made as `from` was. A new one is told before it is filled.
Ptr<Entity> MemberCopy::child(const void* key, const Entity& from) {
  std::string arguments;
  member_.encodeArguments(from, arguments);
  if (auto there = mutableAt(member_.find(dest_, key))) {
    std::string its;
    member_.encodeArguments(*there, its);
    if (its == arguments) return there;
    member_.erase(dest_, key);
  }
  Forma::BytesIn in(arguments);
  return member_.create(dest_, key, in);
}

Ptr<Entity> MemberCopy::entry(const Entity& from) {
  const Forma::Name name = from.name();
  const Forma::EntityType& type = from.formaType();
  auto& dir = static_cast<Forma::Dir&>(dest_);
  Ptr<Entity> there = dir.entry(name);
  if (there && there->formaType().name == type.name) return there;
  if (!type.make)
    Forma::throwNameException(std::string(type.name) + " cannot be made from a name alone");
  Ptr<Entity> made = type.make(name);
  dir.entryIs(made);
  return made;
}

void MemberCopy::removeOthers() {
  if (member_.size(dest_) == 0 || !mayHaveOthers()) return;
  member_.each(dest_, [&](const void* key, const void* /*element*/) {
    if (!member_.find(src_, key)) attempt([&] { member_.erase(dest_, key); });
  });
}

/// All that the source has is in the destination by now, unless something failed.
bool MemberCopy::mayHaveOthers() const {
  return copy_.failed() != 0 || member_.size(dest_) != member_.size(src_);
}

}  // namespace Session
