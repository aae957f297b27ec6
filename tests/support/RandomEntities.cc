#include "tests/support/RandomEntities.h"

#include <utility>

#include "platform/forma/Errors.h"
#include "tests/support/ContentText.h"

using Forma::AnyValue;
using Forma::Entity;
using Forma::isContent;
using Forma::MemberKind;
using Forma::MemberType;
using Forma::Ptr;
using Forma::TypeKind;
using Forma::ValueType;
using Forma::WireValue;

namespace {

const Entity& entityAt(const void* element) { return *static_cast<const Entity*>(element); }
Entity& mutableAt(const void* element) { return const_cast<Entity&>(entityAt(element)); }

bool ownsEntities(const MemberType& member) {
  return member.kind == MemberKind::children || member.kind == MemberKind::child ||
         member.kind == MemberKind::entries;
}

}  // namespace

RandomEntities::RandomEntities(const Forma::TypeRegistry& registry, std::uint32_t seed)
    : registry_(registry), random_(seed) {}

std::uint32_t RandomEntities::below(std::size_t bound) {
  return static_cast<std::uint32_t>(random_() % bound);
}

void RandomEntities::step(Entity& top) {
  const auto& members = top.formaType().members;
  if (members.empty()) return;
  const MemberType& member = members[below(members.size())];
  if (ownsEntities(member) && below(3) != 0)
    if (const void* child = anyElement(top, member).second) return step(mutableAt(child));
  if (isContent(member.kind)) change(top, member);
}

void RandomEntities::change(Entity& entity, const MemberType& member) {
  if (member.kind == MemberKind::attribute) return put(entity, member, nullptr);
  const std::uint32_t what = below(8);
  if (what == 0) {
    if (const auto [at, element] = anyElement(entity, member); element) {
      if (ownsEntities(member) && below(2)) return mutableAt(element).deletedIs(true);
      return member.erase(entity, WireValue(member.replica.key, at).get());
    }
  }
  if (ownsEntities(member)) return makeChild(entity, member);
  if (Forma::isReference(member.kind) && what < 5) return changeReference(entity, member);
  if (member.kind == MemberKind::reference) return put(entity, member, nullptr);
  const AnyValue at = key(entity, member);
  if (what < 3) return member.erase(entity, at.data());
  put(entity, member, at.data());
}

void RandomEntities::put(Entity& entity, const MemberType& member, const void* key) {
  if (member.replica.value) return member.put(entity, key, value(member.valueType).data());
  std::string from;
  if (key) {
    AnyValue at = registry_.newValue(member.keyType);
    at.wireIs(wireKey(member, key));
    from = arguments(member, &at);
  } else {
    from = arguments(member, nullptr);
  }
  Forma::BytesIn in(from);
  const Ptr<Entity const> made = member.replica.makeElement(in);
  for (std::uint32_t i = below(6); i > 0; --i) step(mutableAt(made.get()));
  member.put(entity, key, &made);
}

/// Files the same element again, with or without a change, or says that it changed.
void RandomEntities::changeReference(Entity& entity, const MemberType& member) {
  const auto [at, element] = anyElement(entity, member);
  if (!element || entity.formaReplica() == Forma::Replica::copy) return;
  const WireValue key(member.replica.key, at);
  const Ptr<Entity const> same(&entityAt(element));
  if (below(3) != 0) step(mutableAt(element));
  if (below(2) != 0) member.put(entity, key.get(), &same);
  else member.replica.tell(entity, key.get());
}

/// One that is there, made otherwise, is replaced; some are made again at once.
void RandomEntities::makeChild(Entity& entity, const MemberType& member) {
  std::vector<AnyValue> at;  // none or one
  if (member.erase && !member.keyType.empty()) at.push_back(key(entity, member));
  const void* const to = at.empty() ? nullptr : at.front().data();
  const std::string from = arguments(member, at.empty() ? nullptr : &at.front());
  const auto make = [&] {
    Forma::BytesIn in(from);
    return member.create(entity, to, in);
  };
  if (below(4) == 0) member.erase(entity, to);
  Ptr<Entity> child;
  try {
    child = make();
  } catch (const Forma::RangeException&) {
    member.erase(entity, to);
    child = make();
  }
  for (std::uint32_t i = below(6); i > 0; --i) step(*child);
}

std::pair<std::string, const void*> RandomEntities::anyElement(const Entity& entity,
                                                               const MemberType& member) {
  const std::size_t count = member.size(entity);
  if (count == 0) return {};
  std::uint32_t skip = below(count);
  std::string at;
  member.each(entity, [&](const void* key, const void*) {
    if (skip-- == 0) at = wireKey(member, key);
  });
  return {at, member.find(entity, WireValue(member.replica.key, at).get())};
}

/// One that is there, one that was used before, or a new one.
AnyValue RandomEntities::key(const Entity& entity, const MemberType& member) {
  auto& recent = recent_[member.keyType];
  if (const auto [at, element] = anyElement(entity, member); element && below(3) == 0) {
    AnyValue there = registry_.newValue(member.keyType);
    there.wireIs(at);
    return there;
  }
  if (!recent.empty() && below(4) != 0) return recent[below(recent.size())];
  if (recent.size() == 12) recent.erase(recent.begin());
  recent.push_back(value(member.keyType));
  return recent.back();
}

/// What an element is made from, in wire form. Where the key comes first it is `key`.
std::string RandomEntities::arguments(const MemberType& member, const AnyValue* key) {
  std::string all;
  bool first = true;
  for (const std::string_view type : registry_.entity(member.valueType).arguments) {
    all += first && key && type == member.keyType ? key->wire() : value(type).wire();
    first = false;
  }
  return all;
}

AnyValue RandomEntities::value(std::string_view name) {
  const ValueType& type = registry_.value(name);
  AnyValue v(registry_, type);
  if (type.kind != TypeKind::enumeration && below(12) == 0) return v;
  if (type.kind == TypeKind::enumeration) v.textIs(type.members[below(type.members.size())].name);
  if (type.kind == TypeKind::record) {
    for (std::size_t i = 2 * type.fields.size(); i > 0; --i) try {
        const ValueType::Field& field = type.fields[below(type.fields.size())];
        v.fieldIs(field.name, value(field.type));
      } catch (const Forma::RangeException&) {  // does not go with the other fields
      }
  }
  if (type.kind == TypeKind::scalar || type.kind == TypeKind::opaque)
    for (int tries = 200; tries > 0 && !scalar(v);) --tries;
  return v;
}

/// Tries random bytes; false when they are no such value, or one whose bytes equality does not see:
/// a NaN, a zero below zero.
bool RandomEntities::scalar(AnyValue& v) {
  std::string from;
  if (v.type().name == "Mpls::ViaSet") {
    Forma::encode(from, below(3));
    for (int i = 0; i < 3; ++i) from += value("Mpls::Via").wire() + value("S32").wire();
  } else if (v.type().name == "Mpls::Hardware::L2ViaSet") {
    Forma::encode(from, below(3));
    for (int i = 0; i < 3; ++i)
      from += value("Mpls::Hardware::L2Via").wire() + value("bool").wire();
  } else {
    if (below(2)) from.assign({static_cast<char>(below(15)), 0, 0, 0});  // the size of a string
    from += bytes();
  }
  AnyValue next(registry_, v.type());
  try {
    Forma::BytesIn in(from);
    v.type().decode(in, next.data());
  } catch (const Forma::Exception&) {
    return false;
  }
  if (!(next == next) || (next == v && next.wire() != v.wire())) return false;
  v = std::move(next);
  return true;
}

/// More than any scalar takes; small numbers and limits more often than others.
std::string RandomEntities::bytes() {
  std::string all(40, '\0');
  const std::uint32_t style = below(4);
  for (char& byte : all) {
    const std::uint32_t kind = style == 0 ? 3 : below(4);
    byte = static_cast<char>(kind == 0 ? 0 : kind == 1 ? 255 : kind == 2 ? below(5) : below(256));
  }
  return all;
}
