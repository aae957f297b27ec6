/// What the processes of the simulation share: entities with rules that hold after each turn of
/// their owner, so that a reader can tell when it is shown half a turn.
#pragma once

#include <cstdint>
#include <string>

#include "platform/forma/Declare.h"

namespace CentrumSim {

class Account : public Forma::Entity {
  FORMA_ENTITY(CentrumSim::Account, Forma::Entity, balance, twin)
  FORMA_NAMING_KEY(std::uint32_t, number)
  FORMA_ATTRIBUTE(std::uint64_t, balance, onBalance)
  FORMA_ATTRIBUTE(std::uint64_t, twin, onTwin)
 public:
  class NotifieeConst : public Forma::NotifieeOf<Account> {
   public:
    virtual void onBalance() {}
    virtual void onTwin() {}
  };
  explicit Account(std::uint32_t number) : number_(number) {}
};

/// After each turn: debit equals credit, and counts the turns of all owners; each entry has a twin
/// at `twinOf` its key, each account has the same in both attributes.
class Ledger : public Forma::NamedEntity {
  FORMA_ENTITY(CentrumSim::Ledger, Forma::NamedEntity, debit, entry, account, credit)
  FORMA_ATTRIBUTE(std::uint64_t, debit, onDebit)
  FORMA_VALUES(std::uint32_t, std::uint64_t, entry, newEntry, onEntry)
  FORMA_CHILDREN(std::uint32_t, Account, account, newAccount, onAccount)
  FORMA_ATTRIBUTE(std::uint64_t, credit, onCredit)
 public:
  class NotifieeConst : public Forma::NotifieeOf<Ledger> {
   public:
    virtual void onDebit() {}
    virtual void onEntry(const std::uint32_t&) {}
    virtual void onAccount(const std::uint32_t&) {}
    virtual void onCredit() {}
  };
  using NamedEntity::NamedEntity;

  static std::uint32_t twinOf(std::uint32_t key) { return key ^ 0x8000U; }
  /// Which rule is broken; empty when none is.
  std::string broken() const;
};

/// All types that are replicated; Mpls::RouteConfigInput and Mpls::RouteConfig among them.
const Forma::TypeRegistry& registry();

}  // namespace CentrumSim
