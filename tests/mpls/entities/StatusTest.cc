// The lookups that lead from routes to adjacencies, and what adjacencies are made from.
#include "mpls/entities/Status.h"

#include <gtest/gtest.h>

#include "mpls/entities/HardwareStatus.h"
#include "tests/support/Checks.h"

namespace Mpls {
namespace {

constexpr std::uint64_t index = 0x6000000000000001;
constexpr AdjacencyType kinds[] = {mplsIp_, mplsPseudowire_, mplsExternalFec_};

ViaSet viaSet(Netbase::MplsLabel outLabel) {
  ViaSet set;
  set.newVia(Via(Netbase::IpAddr(7), Netbase::swap_, outLabel, false), 0);
  return set;
}
LFib::Route route(std::uint64_t at, AdjacencyType kind) {
  return {RouteKey(100, 0), AdjacencyKey(at, kind), LFib::lfibSourceLdp_, 9};
}

/// One adjacency of each kind, all at the same index.
class StatusTest : public ::testing::Test {
 protected:
  Forma::Ptr<Status> status = statusFactory("status");
  Forma::Ptr<LFib::Adjacency> ip = status->newLfibAdjacency(index, viaSet(16));
  Forma::Ptr<LFib::PwAdjacency> pw =
      status->newLfibPwAdjacency(index, PwVia(Netbase::IntfId("pw1"), true, pwTypeEthernet_));
  Forma::Ptr<LFib::ExtFecAdjacency> fec =
      status->newLfibExtFecAdjacency(index, FecId(5), Netbase::pop_);
};

TEST_F(StatusTest, TheKindOfTheKeyChoosesTheAdjacency) {
  const LFib::AdjacencyBase* const all[] = {ip.get(), pw.get(), fec.get()};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(status->getAdjacencyBase(route(index, kinds[i])).get(), all[i]);
    EXPECT_TRUE(all[i]->adjType() == kinds[i] && all[i]->name() == "6917529027641081857");
    EXPECT_FALSE(status->getAdjacencyBase(route(1, kinds[i])));
  }
  EXPECT_FALSE(status->getAdjacencyBase(route(index, mplsUnknown_)));
  EXPECT_EQ(status->getAdjacency(route(index, mplsIp_)), ip);
  EXPECT_EQ(status->getPwAdjacency(route(index, mplsPseudowire_)), pw);
  EXPECT_EQ(status->getExtFecAdjacency(route(index, mplsExternalFec_)), fec);
  EXPECT_FALSE(status->getAdjacency(route(1, mplsIp_)));
  EXPECT_FALSE(status->getAdjacency({}) || status->getPwAdjacency({}) ||
               status->getExtFecAdjacency({}));
}

TEST_F(StatusTest, LookupsOfOneKindRefuseTheOthers) {
  const auto text = [](const char* kind) {
    return std::string("assertion failed\\(adjKey\\.adjType\\(\\) == ") + kind +
           "\\): Value\\('Mpls::LFib::Route'";
  };
  EXPECT_DEATH(status->getAdjacency(route(index, mplsPseudowire_)), text("mplsIp_"));
  EXPECT_DEATH(status->getAdjacency(route(1, mplsUnknown_)), text("mplsIp_"));
  EXPECT_DEATH(status->getPwAdjacency(route(index, mplsIp_)), text("mplsPseudowire_"));
  EXPECT_DEATH(status->getExtFecAdjacency(route(index, mplsIp_)), text("mplsExternalFec_"));
}

TEST_F(StatusTest, WhatAnAdjacencyIsMadeFromNeverChanges) {
  EXPECT_EQ(status->newLfibAdjacency(index, viaSet(16)), ip);
  const auto refusal = [](const char* name, const std::string& asked, const std::string& made) {
    return "Reinstantiating the entity with name 6917529027641081857 where constructor parameter "
           "attribute " +
           std::string(name) + " has a different value of " + asked +
           " than the current value of " + made + " not allowed";
  };
  const auto text = [](const auto& v) { return std::string(Forma::valueToStrep(v).view()); };
  const auto error = [](auto make) { return Checks::raised(make); };
  EXPECT_EQ(error([&] { status->newLfibAdjacency(index, viaSet(17)); }),
            refusal("_viaSet", text(viaSet(17)), text(viaSet(16))));
  EXPECT_EQ(error([&] { status->lfibPwAdjacencyIs(index, PwVia()); }),
            refusal("_via", text(PwVia()), text(pw->via())));
  EXPECT_EQ(error([&] { status->newLfibExtFecAdjacency(index, FecId(6), Netbase::pop_); }),
            refusal("_fecId", "6", "5"));
  EXPECT_EQ(error([&] { status->newLfibExtFecAdjacency(index, FecId(5), Netbase::swap_); }),
            refusal("_labelAction", "swap", "pop"));
}

TEST(HardwareStatusTest, TheKindOfTheKeyChoosesTheAdjacency) {
  const auto status = Hardware::statusFactory("hardware");
  const auto ip = status->newAdjacency(5);
  const auto pw = status->newPwAdjacency(5);
  const auto fec = status->newExtFecAdjacency(5);
  const Hardware::AdjacencyBase* const all[] = {ip.get(), pw.get(), fec.get()};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(status->adjacencyBase({5, kinds[i]}).get(), all[i]);
    EXPECT_FALSE(status->adjacencyBase({6, kinds[i]}));
  }
  EXPECT_DEATH(status->adjacencyBase({5, mplsUnknown_}), "Invalid adjType: mplsUnknown");
}

}  // namespace
}  // namespace Mpls
