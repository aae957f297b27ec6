#include "ldp/LdpIdentifierSet.h"

#include "tests/support/Checks.h"

namespace Ldp {
namespace {

TEST(LdpIdentifierSetTest, WalksInKeyOrderAndTellsChanges) {
  struct Log : LdpIdentifierSet::NotifieeConst {
    void onIdentifier(const LdpIdentifier& id) override { told.push_back(id); }
    std::vector<LdpIdentifier> told;
  } log;
  const auto fec = Checks::parsed<Mpls::FwdEqvClass>("10.0.0.0/8");
  const auto set = ldpIdentifierSetFactory("set", fec);
  EXPECT_EQ(set->fec(), fec);
  log.notifierIs(set);
  const auto ids = Checks::parsed<LdpIdentifier>({"10.0.0.1:10", "10.0.0.1:2", "9.0.0.1:5"});
  for (const LdpIdentifier& id : ids) set->newIdentifier(id, false);
  set->identifierDel(LdpIdentifier::ldpIdZero);
  EXPECT_EQ(log.told, ids);
  std::vector<LdpIdentifier> walked;
  for (const auto& one : set->identifierIteratorConst()) walked.push_back(one.key);
  EXPECT_EQ(walked, std::vector<LdpIdentifier>(ids.rbegin(), ids.rend()));
}

}  // namespace
}  // namespace Ldp
