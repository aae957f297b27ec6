#include "ldp/LdpIdentifierSet.h"

#include <gtest/gtest.h>

#include <string>

namespace Ldp {
namespace {

TEST(LdpIdentifierSetTest, WalksInKeyOrderAndTellsChanges) {
  struct Log : LdpIdentifierSet::NotifieeConst {
    void onIdentifier(const LdpIdentifier& id) override {
      text += std::string(id.stringValue().view()) + ";";
    }
    std::string text;
  } log;
  Mpls::FwdEqvClass fec;
  fec.stringValueIs("10.0.0.0/8");
  const auto set = ldpIdentifierSetFactory("set", fec);
  EXPECT_EQ(set->fec(), fec);
  log.notifierIs(set);
  for (const char* text : {"10.0.0.1:10", "255.0.0.1:0", "10.0.0.1:2", "9.0.0.1:5"}) {
    LdpIdentifier id;
    id.stringValueIs(text);
    set->newIdentifier(id, false);
  }
  set->identifierDel(LdpIdentifier::ldpIdZero);
  EXPECT_EQ(log.text, "10.0.0.1:10;255.0.0.1:0;10.0.0.1:2;9.0.0.1:5;");
  std::string walked;
  for (const auto& one : set->identifierIteratorConst()) {
    walked += std::string(one.key.stringValue().view()) + ";";
    set->identifierDel(one.key);
  }
  EXPECT_EQ(walked, "9.0.0.1:5;10.0.0.1:2;10.0.0.1:10;255.0.0.1:0;");
  EXPECT_EQ(set->identifiers(), 0U);
}

TEST(LdpIdIntfIpMappingTableTest, MapsAddressesToTheirRouters) {
  const auto table = ldpIdIntfIpMappingTableFactory("map");
  const Netbase::IpGenAddr address(Forma::String8("10.1.1.1"));
  table->intfIpToLdpIdIs(address, LdpIdentifier(0x0a000001, 0));
  table->newIntfIpToLdpId(address, LdpIdentifier(0x0a000002, 0));
  EXPECT_EQ(table->intfIpToLdpId(address).lsrId(), 0x0a000002U);
  EXPECT_EQ(table->intfIpToLdpIds(), 1U);
  table->intfIpToLdpIdDelAll();
  EXPECT_EQ(table->intfIpToLdpIdFind(address), nullptr);
}

}  // namespace
}  // namespace Ldp
