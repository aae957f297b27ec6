/// Declared types that the tests of the object runtime share.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>

#include "platform/forma/Dir.h"

namespace FormaTest {

FORMA_TEXT_FUNCTIONS

/// Numbers below zero travel, too.
enum Mode : std::int8_t { idle_ = 0, slow_ = 1, reverse_ = -1 };
FORMA_ENUM(FormaTest, Mode, idle, slow, reverse)

class Key {
  FORMA_VALUE(FormaTest::Key, number, tag)
  FORMA_FIELD(std::uint16_t, number, 1000)
  FORMA_FIELD(Forma::String8, tag)
 public:
  Key() = default;
  Key(std::uint16_t number, Forma::String8 tag = {}) : number_(number), tag_(std::move(tag)) {
    check();
  }
  auto operator<=>(const Key&) const = default;
  void check() const {
    if (number_ > 1000) Forma::throwRangeException("Key::number > 1000 not allowed");
  }
};

/// A range with some decoration; empty, against the rule for all others, until
/// it is set.
class Sample {
  FORMA_VALUE(FormaTest::Sample, mode, gain, text, on, low, high, key)
  FORMA_FIELD(Mode, mode)
  FORMA_FIELD(double, gain)
  FORMA_FIELD(Forma::String8, text)
  FORMA_FIELD(bool, on)
  FORMA_FIELD(std::int32_t, low, 1)
  FORMA_FIELD(std::int32_t, high)
  FORMA_FIELD(Key, key)
 public:
  void check() const {
    if (low_ > high_) Forma::throwRangeException("Sample::low > Sample::high not allowed");
  }
};

/// Hears of the birth and death of each entity below.
inline std::function<void(const Forma::Entity*, bool born)> lifeHook;
struct Life {
  explicit Life(const Forma::Entity* of) : who(of) {
    if (lifeHook) lifeHook(who, true);
  }
  ~Life() {
    if (lifeHook) lifeHook(who, false);
  }
  const Forma::Entity* who;
};
template <class Base>
class Watched : public Base {
  Life life_{this};

 public:
  using Base::Base;
};

class Item : public Watched<Forma::NamedEntity> {
  FORMA_ENTITY(FormaTest::Item, Watched<Forma::NamedEntity>, level, via)
  FORMA_FIXED(std::uint8_t, weight)
  FORMA_ARGUMENTS(name, weight)
  FORMA_ATTRIBUTE(std::int32_t, level, onLevel)
  FORMA_ORDERED_VALUES(std::uint32_t, std::int32_t, via, newVia, onVia)
 public:
  class NotifieeConst : public Forma::NotifieeOf<Item> {
   public:
    virtual void onLevel() {}
    virtual void onVia(const std::uint32_t&) {}
  };
  explicit Item(Forma::Name name, std::uint8_t weight = 1)
      : Watched(std::move(name)), weight_(weight) {}
};

/// Walks itself while it dies.
class Box : public Watched<Forma::NamedEntity> {
  FORMA_ENTITY(FormaTest::Box, Watched<Forma::NamedEntity>, open)
  FORMA_VALUES(std::uint32_t, std::int32_t, open, newOpen, onOpen)
 public:
  class NotifieeConst : public Forma::NotifieeOf<Box> {
   public:
    virtual void onOpen(const std::uint32_t&) {}
  };
  using Watched::Watched;
  ~Box() override { openDelAll(); }
};

class Node : public Watched<Forma::NamedEntity> {
  FORMA_ENTITY(FormaTest::Node, Watched<Forma::NamedEntity>, count, score, rank, link, item, extra)
  FORMA_ATTRIBUTE(std::int32_t, count, onCount)
  FORMA_VALUES(std::uint32_t, std::int32_t, score, newScore, onScore)
  FORMA_ORDERED_VALUES(std::uint32_t, std::int32_t, rank, newRank, onRank)
  FORMA_REFERENCES(std::uint32_t, Item const, link, newLink, onLink)
  FORMA_SURFACING_CHILDREN(Forma::Name, Item, item, newItem, onItem)
  FORMA_CHILD(Box, extra, newExtra, onExtra)
 public:
  class NotifieeConst : public Forma::NotifieeOf<Node> {
   public:
    virtual void onCount() {}
    virtual void onScore(const std::uint32_t&) {}
    virtual void onRank(const std::uint32_t&) {}
    virtual void onLink(const std::uint32_t&) {}
    virtual void onItem(const Forma::Name&) {}
    virtual void onExtra() {}
  };
  using Notifiee = Forma::NotifieeMutable<Node, NotifieeConst>;
  using Watched::Watched;
};

/// A child without members, made from its key alone.
class Port : public Watched<Forma::Entity> {
  FORMA_ENTITY(FormaTest::Port, Watched<Forma::Entity>)
  FORMA_NAMING_KEY(std::uint32_t, number)
 public:
  explicit Port(std::uint32_t number) : number_(number) {}
};

/// A Node with more members.
class Sub : public Node {
  FORMA_ENTITY(FormaTest::Sub, Node, speed, port)
  FORMA_ATTRIBUTE(std::int32_t, speed, onSpeed)
  FORMA_CHILDREN(std::uint32_t, Port, port, newPort, onPort)
 public:
  class NotifieeConst : public Forma::NotifieeOf<Sub, Node::NotifieeConst> {
   public:
    virtual void onSpeed() {}
    virtual void onPort(const std::uint32_t&) {}
  };
  using Notifiee = Forma::NotifieeMutable<Sub, NotifieeConst>;
  using Node::Node;
};

/// A Sub with members of the kinds that are left.
class Rack : public Sub {
  FORMA_ENTITY(FormaTest::Rack, Sub, row, best)
  FORMA_KEYED_VALUES(Forma::String8, Key, tag, row, newRow, onRow)
  FORMA_REFERENCE(Item const, best, onBest)
 public:
  class NotifieeConst : public Forma::NotifieeOf<Rack, Sub::NotifieeConst> {
   public:
    virtual void onRow(const Forma::String8&) {}
    virtual void onBest() {}
  };
  using Notifiee = Forma::NotifieeMutable<Rack, NotifieeConst>;
  using Sub::Sub;
};

/// A directory.
class Folder : public Watched<Forma::Dir> {
  FORMA_ENTITY(FormaTest::Folder, Watched<Forma::Dir>)
 public:
  using Watched::Watched;
};

FORMA_FACTORY(nodeFactory, Node, Forma::Name)
FORMA_FACTORY(subFactory, Sub, Forma::Name)
FORMA_FACTORY(rackFactory, Rack, Forma::Name)
FORMA_FACTORY(itemFactory, Item, Forma::Name, std::uint8_t)

void registerTypes(Forma::TypeRegistry& registry);

}  // namespace FormaTest
