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

/// Whom spies report to, by the number of their seat.
class Hearer {
 public:
  virtual ~Hearer() = default;
  virtual void heard(std::size_t seat, const Place& place) = 0;
};

inline Number numberOf(const Forma::Name& name) {
  return static_cast<Number>(std::atoi(name.charPtr() + 1));
}
inline Number numberOf(const Forma::MemberType& member, const void* key) {
  if (!key) return 0;
  if (member.keyType == "U32") return *static_cast<const Number*>(key);
  if (member.keyType == "FormaTest::Key") return static_cast<const Key*>(key)->number();
  return numberOf(*static_cast<const Forma::Name*>(key));
}
inline Forma::Name nameOf(Number number) { return Forma::Name("n" + std::to_string(number)); }

/// A number or the identity of an element, whatever a member holds; 0 when it holds nothing.
inline std::int64_t bits(const void* p) { return reinterpret_cast<std::intptr_t>(p); }
inline std::int64_t asNumber(const Forma::MemberType& member, const void* value) {
  if (!value) return 0;
  return member.valueType == "S32" ? *static_cast<const std::int32_t*>(value) : bits(value);
}

/// A number as the key of any member.
struct AnyKey {
  AnyKey(const Forma::MemberType& member, Number n)
      : number(n), record(static_cast<std::uint16_t>(n)), name(nameOf(n)) {
    if (member.keyType == "U32") key = &number;
    else if (member.keyType == "FormaTest::Key") key = &record;
    else key = &name;
  }
  AnyKey(const AnyKey&) = delete;
  Number number;
  Key record;
  Forma::Name name;
  const void* key;
};

template <class Base>
struct Spy : Base {
  Spy(Hearer& w, std::size_t at) : world(w), seat(at) {}
  void heard(std::string member, Number key = 0) {
    world.heard(seat, {this->notifier(), std::move(member), key});  // may have destroyed this
  }
  Hearer& world;
  std::size_t seat;
};
template <class Base>
struct NodeSpyOf : Spy<Base> {
  using Spy<Base>::Spy;
  void onCount() override { this->heard("count"); }
  void onScore(const Number& key) override { this->heard("score", key); }
  void onRank(const Number& key) override { this->heard("rank", key); }
  void onLink(const Number& key) override { this->heard("link", key); }
  void onItem(const Key& key) override { this->heard("item", key.number()); }
  void onExtra() override { this->heard("extra"); }
};
using NodeSpy = NodeSpyOf<Node::Notifiee>;
struct SubSpy : NodeSpyOf<Sub::Notifiee> {
  using NodeSpyOf::NodeSpyOf;
  void onSpeed() override { heard("speed"); }
  void onPort(const Number& key) override { heard("port", key); }
};
struct ItemSpy : Spy<Item::NotifieeConst> {
  using Spy::Spy;
  void onLevel() override { heard("level"); }
  void onVia(const Number& key) override { heard("via", key); }
};
struct DirSpy : Spy<Forma::Dir::Notifiee> {
  using Spy::Spy;
  void onEntry(const Forma::Name& name) override { heard("entry", numberOf(name)); }
};
struct AnySpy : Spy<Forma::AnyNotifiee> {
  using Spy::Spy;
  void onChange(const Forma::MemberType& member, const void* key) override {
    heard(std::string(member.name), numberOf(member, key));
  }
};

}  // namespace FormaTest
