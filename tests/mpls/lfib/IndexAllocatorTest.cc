// The allocators of adjacency and tunnel indexes.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <string>

#include "mpls/lfib/LfibGenAdjIdxAllocator.h"
#include "mpls/lfib/SrTunnelIdxAllocator.h"
#include "platform/forma/Errors.h"
#include "tests/support/Checks.h"

namespace MplsHelper {
namespace {

using Mpls::LFib::Source;

constexpr std::uint64_t lastCount = 0x0fffffffffffffff;
constexpr std::uint64_t ldp = 0x6000000000000000;

class AdjIdxAllocatorTest : public ::testing::Test {
 protected:
  void adjacencyIs(int kind, std::uint64_t index, bool there) {
    if (!there) {
      status->lfibAdjacencyDel(index);
      status->lfibPwAdjacencyDel(index);
      status->lfibExtFecAdjacencyDel(index);
    } else if (kind == 0) {
      status->newLfibAdjacency(index, Mpls::ViaSet());
    } else if (kind == 1) {
      status->newLfibPwAdjacency(index, Mpls::PwVia());
    } else {
      status->newLfibExtFecAdjacency(index, Mpls::FecId(1), Netbase::pop_);
    }
  }

  Forma::Ptr<Mpls::Status> status = Mpls::statusFactory("status");
  Forma::Ptr<LfibGenAdjIdxAllocator> allocator = lfibGenAdjIdxAllocatorFactory(status);
};

TEST_F(AdjIdxAllocatorTest, EachSourceCountsInABlockOfItsOwnWhichWraps) {
  constexpr Source source = Mpls::LFib::lfibSourceLdp_;
  EXPECT_EQ(allocator->getAdjacencyIndex(source), ldp);
  allocator->releaseAdjacencyIndex(source, ldp);
  EXPECT_EQ(allocator->getAdjacencyIndex(source), ldp + 1);
  allocator->resetAdjacencyIndex(source);
  EXPECT_EQ(allocator->getAdjacencyIndex(source), ldp + 1);
  EXPECT_EQ(allocator->getAdjacencyIndex(Mpls::LFib::lfibSourceStaticMpls_), 0x1000000000000000U);
  allocator->useAdjacencyIndex(source, ldp + lastCount);
  EXPECT_EQ(allocator->adjIndex(source), 0U);
  status->newLfibAdjacency(ldp, Mpls::ViaSet());
  allocator->useAdjacencyIndex(source, ldp + lastCount - 1);
  EXPECT_EQ(allocator->getAdjacencyIndex(source), ldp + lastCount);
  EXPECT_EQ(allocator->getAdjacencyIndex(source), ldp + 1);
  EXPECT_THROW(lfibGenAdjIdxAllocatorFactory(nullptr), Forma::NullException);
}

TEST_F(AdjIdxAllocatorTest, TheTraceTellsWhatWasFound) {
  status->newLfibAdjacency(ldp, Mpls::ViaSet());
  const auto get = [this] { allocator->getAdjacencyIndex(Mpls::LFib::lfibSourceLdp_); };
  EXPECT_EQ(Checks::traced("LfibGenAdjIdxAllocator/8", get),
            "getAdjacencyIndex index already used 6917529027641081856\n"
            "useAdjacencyIndex source: lfibSourceLdp, use idx: 6917529027641081857\n"
            "getAdjacencyIndex allocate adj index 0x6000000000000001\n");
}

/// Against sets of used indexes, in the few places around a block's end and beginning.
TEST_F(AdjIdxAllocatorTest, NoIndexIsTakenByAnAdjacencyThatCounts) {
  std::mt19937 random(1);
  const auto below = [&](std::uint32_t bound) { return random() % bound; };
  std::map<Source, std::set<std::uint64_t>> blocking;
  std::map<Source, std::uint64_t> next;
  for (int step = 0; step < 20000; ++step) {
    const auto source = static_cast<Source>(4 + below(3));  // RSVP, pseudowire, LDP
    const std::uint64_t block = std::uint64_t{source} << 60;
    const std::uint64_t index = block + ((lastCount - 9 + below(20)) & lastCount);
    const auto what = below(10);
    if (what < 4) {
      std::uint64_t due = next[source];
      while (blocking[source].contains(block + due)) due = (due + 1) & lastCount;
      ASSERT_EQ(allocator->getAdjacencyIndex(source), block + due) << "step " << step;
      next[source] = (due + 1) & lastCount;
    } else if (what < 8) {
      const int kind = static_cast<int>(below(3));
      const bool there = what < 6;
      adjacencyIs(kind, index, there);
      if (!there) blocking[source].erase(index);
      else if (kind != 1 || source == Mpls::LFib::lfibSourcePseudowire_)
        blocking[source].insert(index);
    } else if (what == 8) {
      allocator->useAdjacencyIndex(source, index);
      next[source] = (index + 1) & lastCount;
    } else if (below(20) == 0) {
      allocator->resetAdjacencyIndex(source);
      next[source] = 1;
    }
  }
}

TEST(SrTunnelIdxAllocatorTest, CountsOnFromWhatWasRestored) {
  struct Hears : SrTunnelIdxAllocator::NotifieeConst {
    void onTunnelIdx() override { ++heard; }
    int heard = 0;
  } hears;
  const auto allocator = srTunnelIdxAllocatorFactory();
  hears.notifierIs(allocator);
  for (std::uint64_t due = 1; due <= 3; ++due) EXPECT_EQ(allocator->getIdx(), due);
  allocator->setIdx(41);
  allocator->setIdx(41);
  EXPECT_EQ(allocator->tunnelIdxInc(0), 41U);
  EXPECT_EQ(allocator->getIdx(), 42U);
  EXPECT_EQ(hears.heard, 5);
}

}  // namespace
}  // namespace MplsHelper
