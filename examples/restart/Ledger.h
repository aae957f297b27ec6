/// Which number each name has: an entity of our own, published in the database.
#pragma once

#include "platform/forma/Declare.h"

namespace Example {

class Ledger : public Forma::NamedEntity {
  FORMA_ENTITY(Example::Ledger, Forma::NamedEntity, number)
  FORMA_VALUES(Forma::Name, std::uint32_t, number, newNumber, onNumber)

 public:
  class NotifieeConst : public Forma::NotifieeOf<Ledger> {
   public:
    virtual void onNumber(const Forma::Name& /*name*/) {}
  };
  explicit Ledger(Forma::Name name) : NamedEntity(std::move(name)) {}
};

}  // namespace Example
