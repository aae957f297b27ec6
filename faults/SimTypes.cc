#include "faults/SimTypes.h"

#include "mpls/entities/Registration.h"

namespace CentrumSim {

FORMA_DEFINE_ENTITY(Account)
FORMA_DEFINE_ENTITY(Ledger)

std::string Ledger::broken() const {
  if (debit() != credit())
    return "debit " + std::to_string(debit()) + ", credit " + std::to_string(credit());
  for (const auto& one : entryIteratorConst())
    if (const auto* twin = entryFind(twinOf(one.key)); !twin || *twin != one.value)
      return "entry " + std::to_string(one.key) + " has no twin";
  for (const auto& one : accountIteratorConst())
    if (one.value->balance() != one.value->twin())
      return "account " + std::to_string(one.key) + " is half written";
  return {};
}

const Forma::TypeRegistry& registry() {
  static const Forma::TypeRegistry all = [] {
    Forma::TypeRegistry types;
    Mpls::registerEntityTypes(types);
    types.addEntity<Account, Ledger>();
    return types;
  }();
  return all;
}

}  // namespace CentrumSim
