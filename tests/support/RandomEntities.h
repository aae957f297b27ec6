/// Random content for entities of any registered type, through their public mutators.
///
/// A type that is declared tomorrow is covered as soon as it is registered: members, constructor
/// arguments and value types are taken from the registry.
///
/// Thread    that of the entities.
/// Repeat    a seed makes the same choices again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/forma/EntityType.h"
#include "platform/forma/TypeRegistry.h"

class RandomEntities {
 public:
  /// The registry must outlive it.
  RandomEntities(const Forma::TypeRegistry& registry, std::uint32_t seed);

  /// One change of `top` or of what lies below it, directory entries apart; now and then one that
  /// changes nothing. Raises what the mutators of a read-only copy raise.
  void step(Forma::Entity& top);
  /// A value of that type that its rules accept; now and then the default value, which may travel
  /// even where no constructor makes it.
  Forma::AnyValue value(std::string_view type);
  /// A number less than `bound`.
  std::uint32_t below(std::size_t bound);

 private:
  using Member = Forma::MemberType;

  void change(Forma::Entity& entity, const Member& member);
  void changeReference(Forma::Entity& entity, const Member& member);
  void makeChild(Forma::Entity& entity, const Member& member);
  void put(Forma::Entity& entity, const Member& member, const void* key);
  /// The key of some element in wire form, and where the element is; null when there is none.
  std::pair<std::string, const void*> anyElement(const Forma::Entity& entity, const Member& member);
  Forma::AnyValue key(const Forma::Entity& entity, const Member& member);
  std::string arguments(const Member& member, const Forma::AnyValue* key);
  bool scalar(Forma::AnyValue& v);
  std::string bytes();

  const Forma::TypeRegistry& registry_;
  std::mt19937 random_;
  std::map<std::string_view, std::vector<Forma::AnyValue>> recent_;  // keys, by type
};
