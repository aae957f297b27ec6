/// The rows by which replication is measured: a key of 8 bytes and 40 bytes more.
#pragma once

#include <cstdint>
#include <utility>

#include "platform/forma/Declare.h"
#include "platform/forma/Value.h"

namespace Bench {

using RowKey = std::uint64_t;

/// What is in a row beside its key.
class Row {
  FORMA_VALUE(Bench::Row, generation, stamp, a, b, c)
  /// Which change of the row this is.
  FORMA_FIELD(std::uint64_t, generation, 0)
  /// When it was made, by Bench::now().
  FORMA_FIELD(std::uint64_t, stamp, 0)
  FORMA_FIELD(std::uint64_t, a, 0)
  FORMA_FIELD(std::uint64_t, b, 0)
  FORMA_FIELD(std::uint64_t, c, 0)
 public:
  Row() = default;
  Row(std::uint64_t generation, std::uint64_t stamp) : generation_(generation), stamp_(stamp) {}
};
static_assert(sizeof(RowKey) + sizeof(Row) == 48);

/// A table of them.
class Rows : public Forma::NamedEntity {
  FORMA_ENTITY(Bench::Rows, Forma::NamedEntity, row)
  FORMA_VALUES(Bench::RowKey, Bench::Row, row, newRow, onRow)

 public:
  class NotifieeConst : public Forma::NotifieeOf<Rows> {
   public:
    virtual void onRow(const RowKey& /*key*/) {}
  };
  using Notifiee = Forma::NotifieeMutable<Rows, NotifieeConst>;

  explicit Rows(Forma::Name name) : NamedEntity(std::move(name)) {}
};

FORMA_FACTORY(rowsFactory, Rows, Forma::Name)

}  // namespace Bench
