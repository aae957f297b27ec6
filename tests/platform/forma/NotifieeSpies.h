/// Notifiees of the test types that report all they hear to one place.
#pragma once

#include <cstdlib>
#include <string>

#include "tests/platform/forma/TestTypes.h"

namespace FormaTest {

using Number = std::uint32_t;

/// A member of an entity and, for collections, one key of it.
struct Place {
  const Forma::Entity* of;
  std::string member;
  Number key = 0;
  auto operator<=>(const Place&) const = default;
};

/// What spies report to, with the number of their seat. May destroy them.
using Hearing = std::function<void(std::size_t seat, const Place&)>;

/// The keys of all members are numbers or names; 0 where there is none.
inline Forma::Name nameOf(Number number) { return Forma::Name("n" + std::to_string(number)); }
inline Number numberOf(const Forma::Name& name) {
  return static_cast<Number>(std::atoi(name.charPtr() + 1));
}
inline Number numberOf(const Forma::MemberType& member, const void* key) {
  if (!key) return 0;
  if (member.keyType == "U32") return *static_cast<const Number*>(key);
  return numberOf(*static_cast<const Forma::Name*>(key));
}
struct AnyKey {
  AnyKey(const Forma::MemberType& member, Number n) : number(n), name(nameOf(n)) {
    if (member.keyType != "U32") key = &name;
  }
  AnyKey(const AnyKey&) = delete;
  const Number number;
  const Forma::Name name;
  const void* key = &number;
};

/// A number or the identity of an element, whatever a member holds; 0 when it
/// holds nothing.
inline std::int64_t bits(const void* p) { return reinterpret_cast<std::intptr_t>(p); }
inline std::int64_t asNumber(const Forma::MemberType& member, const void* value) {
  if (!value) return 0;
  return member.valueType == "S32" ? *static_cast<const std::int32_t*>(value) : bits(value);
}

template <class Base>
struct Spy : Base {
  Spy(const Hearing& to, std::size_t at) : hearing(to), seat(at) {}
  void heard(std::string_view member, Number key = 0) {
    hearing(seat, {this->notifier(), std::string(member), key});
  }
  const Hearing& hearing;
  const std::size_t seat;
};
template <class Base>
struct NodeSpyOf : Spy<Base> {
  using Spy<Base>::Spy;
  void onCount() override { this->heard("count"); }
  void onScore(const Number& key) override { this->heard("score", key); }
  void onRank(const Number& key) override { this->heard("rank", key); }
  void onLink(const Number& key) override { this->heard("link", key); }
  void onItem(const Forma::Name& key) override { this->heard("item", numberOf(key)); }
  void onExtra() override { this->heard("extra"); }
};
using NodeSpy = NodeSpyOf<Node::Notifiee>;
struct SubSpy : NodeSpyOf<Sub::Notifiee> {
  using NodeSpyOf::NodeSpyOf;
  void onSpeed() override { heard("speed"); }
  void onPort(const Number& key) override { heard("port", key); }
};
struct AnySpy : Spy<Forma::AnyNotifiee> {
  using Spy::Spy;
  void onChange(const Forma::MemberType& member, const void* key) override {
    heard(member.name, numberOf(member, key));
  }
};

}  // namespace FormaTest
