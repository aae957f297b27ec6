/// Rows of every shape, and an entity with tables of two of them.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <random>
#include <string>

#include "platform/forma/BoundedArray.h"
#include "platform/netbase/GenericIntfId.h"
#include "platform/netbase/IpGenPrefix.h"
#include "platform/netbase/MplsLabel.h"
#include "platform/netbase/VlanId.h"
#include "platform/netbase/VrfName.h"
#include "platform/tarn/FormaTarnMap.h"

namespace TarnTest {

FORMA_TEXT_FUNCTIONS

enum Colour : std::int16_t { red_ = -1, green_ = 7 };
FORMA_ENUM(TarnTest, Colour, red, green)

/// Five bytes, of which the value takes eight.
class RowKey {
  FORMA_VALUE(TarnTest::RowKey, number, part)
  FORMA_FIELD(std::uint32_t, number)
  FORMA_FIELD(std::uint8_t, part)
 public:
  RowKey() = default;
  RowKey(std::uint32_t number, std::uint8_t part = 0) : number_(number), part_(part) {}
  auto operator<=>(const RowKey&) const = default;
};

/// As in memory, so in the table.
class PlainRow {
  FORMA_VALUE(TarnTest::PlainRow, key, amount, label)
  FORMA_FIELD(std::uint32_t, key)
  FORMA_FIELD(std::uint32_t, amount)
  FORMA_FIELD(Netbase::MplsLabel, label)
 public:
  PlainRow() = default;
  PlainRow(std::uint32_t key, std::uint32_t amount) : key_(key), amount_(amount) {}
};

/// A leaf of each kind.
class MixedRow {
  FORMA_VALUE(TarnTest::MixedRow, key, on, colour, ratio, intf, prefix, address, vlan, vrf, type)
  FORMA_FIELD(RowKey, key)
  FORMA_FIELD(bool, on)
  FORMA_FIELD(Colour, colour, red_)
  FORMA_FIELD(double, ratio)
  FORMA_FIELD(Netbase::IntfId, intf)
  FORMA_FIELD(Netbase::IpGenPrefix, prefix)
  FORMA_FIELD(Netbase::IpGenAddr, address)
  FORMA_FIELD(Netbase::VlanId, vlan)
  FORMA_FIELD(L3::VrfName, vrf)
  FORMA_FIELD(Netbase::GenericIntfId, type)
};

FORMA_INDEX_RANGE(PartRange, 9)
FORMA_INDEX_RANGE(TextRange, 99)
class Part {
  FORMA_VALUE(TarnTest::Part, on, label)
  FORMA_FIELD(bool, on)
  FORMA_FIELD(Netbase::MplsLabel, label)
 public:
  Part() = default;
  Part(bool on, std::uint32_t label) : on_(on), label_(label) {}
  auto operator<=>(const Part&) const = default;
};
/// Two arrays, and a field behind each. A row with a part must have a text.
class ArrayRow {
  FORMA_VALUE(TarnTest::ArrayRow, key, part, between, text, last)
  FORMA_FIELD(RowKey, key)
  FORMA_ARRAY_FIELD(Part, PartRange, part)
  FORMA_FIELD(std::int16_t, between)
  FORMA_BYTES_FIELD(TextRange, text)
  FORMA_FIELD(bool, last)
 public:
  ArrayRow() = default;
  explicit ArrayRow(RowKey key, std::string_view text = "") : key_(key) { text_.assign(text); }
  void check() const {
    if (!part_.empty() && text_.empty()) Forma::throwRangeException("no text");
  }
};

/// Writes its number in as many bytes as it has digits.
class OwnRow {
  FORMA_VALUE(TarnTest::OwnRow, key, number)
  FORMA_FIELD(std::uint32_t, key)
  FORMA_FIELD(std::uint64_t, number)
 public:
  std::size_t serializeLen() const { return std::to_string(number_).size() + 4; }
  void serialize(std::byte* to) const;
  static std::size_t deserializeLen(const std::byte*, std::size_t bytes) { return bytes; }
  bool deserialize(const std::byte* from, std::size_t bytes);
};

class Desk : public Forma::NamedEntity {
  FORMA_ENTITY(TarnTest::Desk, Forma::NamedEntity, plain, array)
  FORMA_TABLE(std::uint32_t, PlainRow, plain, newPlain, onPlain, checkPlain)
  FORMA_TABLE(RowKey, ArrayRow, array, newArray, onArray)
 public:
  class NotifieeConst : public Forma::NotifieeOf<Desk> {
   public:
    virtual void onPlain(const std::uint32_t&) {}
    virtual void onPlain() {}
    virtual void onArray(const RowKey&) {}
    virtual void onArray() {}
  };
  using NamedEntity::NamedEntity;
  std::function<void(std::uint32_t)> check;

 private:
  void checkPlain(std::uint32_t key) const {
    if (check) check(key);
  }
};
FORMA_FACTORY(deskFactory, Desk, Forma::Name)

struct Stop : std::exception {};
struct Watcher : Desk::NotifieeConst {
  std::function<void(std::uint32_t)> plain;
  std::function<void(RowKey)> array;
  int wholes = 0;
  void onPlain(const std::uint32_t& key) override { plain(key); }
  void onArray(const RowKey& key) override { array(key); }
  void onPlain() override { ++wholes; }
  void onArray() override { wholes += 10; }
};

}  // namespace TarnTest
