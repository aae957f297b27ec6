// The resolved forwarding map: whatever comes in whatever order, of rows that make sense or not, it
// ends up as that of a machine that starts on the same tables.
#include <gtest/gtest.h>

#include <random>

#include "platform/tarn/ReaderDirectory.h"
#include "tests/mpls/lfib/ForwardingRig.h"
#include "tests/mpls/lfib/LfibScribeProcess.h"

namespace Mpls {
namespace {

constexpr auto ldp = LFib::lfibSourceLdp_;
constexpr auto pw = LFib::lfibSourcePseudowire_;

/// Few keys, so that rows meet each other often.
class RandomChanges {
 public:
  RandomChanges(const std::vector<Lfib>& lfibs, unsigned seed) : lfibs_(lfibs), random_(seed) {}

  void step() {
    const Lfib& lfib = lfibs_[below(2)];
    const bool removes = below(4) == 0;
    switch (below(3)) {
      case 0: {
        const RouteKey at = key(100 + below(12), static_cast<std::uint8_t>(below(2)));
        return removes ? lfib.routeDel(at) : lfib.routeIs({at, setKey(), source()});
      }
      case 1: {
        const LfibViaSetKey at = setKey();
        return removes ? lfib.viaSetDel(at) : lfib.viaSetIs(viaSet(at));
      }
      default: {
        const LfibViaKey at = viaKey(type());
        return removes ? lfib.viaDel(at) : lfib.viaIs(at, below(3));
      }
    }
  }

 private:
  std::uint32_t below(std::uint32_t n) { return static_cast<std::uint32_t>(random_() % n); }
  LFib::Source source() { return below(2) == 0 ? ldp : pw; }
  LfibViaType type() { return static_cast<LfibViaType>(1 + below(viaTypeEvpnVlanAwareFlood_)); }
  LfibViaSetKey setKey() {
    // Half of them MPLS; one kind in ten has no table.
    const auto kind = below(2) == 0 ? viaTypeMplsIp_ : LfibViaType(below(viaTypeMax_ + 1));
    return {ldp, below(3), kind};
  }
  LfibViaKey viaKey(LfibViaType kind) { return {ldp, kind, below(4)}; }
  /// An IP lookup has one via: to its machine anything else is the writer's error.
  LfibViaSet viaSet(const LfibViaSetKey& at) {
    LfibViaSet row(at);
    const bool isLookup = at.viaType() == viaTypeIpLookup_;
    const std::uint32_t count = isLookup ? 1 : below(4);
    for (std::uint32_t i = 0; i < count; ++i)
      row.viaKeyIs(i, viaKey(isLookup || below(8) != 0 ? at.viaType() : type()));
    return row;
  }

  const std::vector<Lfib>& lfibs_;
  std::mt19937 random_;
};

TEST(LfibForwardingModelTest, EqualsAMachineThatStartsAfreshAfterAnyChanges) {
  const std::vector<Lfib> lfibs{Lfib(lfibStatusFactory("a")), Lfib(lfibStatusFactory("b"))};
  Forwarding forwarding(lfibs);
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  RandomChanges changes(lfibs, seed);
  for (int round = 0; round < 400; ++round) {
    for (int burst = 1 + round % 40; burst != 0; --burst) changes.step();
    forwarding.loop.runUntilIdle();
    EXPECT_EQ(forwarding.sm->backlog(), 0U);
    const Lines due = Forwarding(lfibs).lines();
    ASSERT_EQ(forwarding.lines(), due) << "round " << round;
  }
}

/// The LFIBs of two processes, each killed now and then, and a reader that does not look at times.
TEST(LfibForwardingModelTest, EqualsAFreshMachineWhateverHappensToTheWriters) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  const Tarn::Folder folder;
  Kiln::EventLoop loop;
  struct Followed {
    Followed(const std::string& in, unsigned seed, Kiln::EventLoop& loop)
        : path(in),
          writer(std::make_unique<LfibScribeProcess>(path, seed)),
          directory(loop, path, [](const std::string&) {}) {
      FormaTarn::attachReader(*lfib, directory);
    }
    const std::string path;
    std::unique_ptr<LfibScribeProcess> writer;
    Tarn::ReaderDirectory directory;
    const Forma::Ptr<LfibStatus> lfib = lfibStatusFactory("read");
  };
  Followed followed[] = {{folder / "a", seed, loop}, {folder / "b", seed + 1, loop}};
  const std::vector<Lfib> lfibs{Lfib(followed[0].lfib), Lfib(followed[1].lfib)};
  Forwarding forwarding(lfibs);
  for (unsigned round = 0; round < 150; ++round) {
    Followed& one = followed[random() % 2];
    one.writer->steps(static_cast<unsigned char>(random() % 20));
    if (random() % 10 == 0) {
      one.writer = nullptr;
      one.writer = std::make_unique<LfibScribeProcess>(one.path, seed + 10 + round);
      one.writer->steps(1);  // it has adopted the tables
    }
    if (random() % 3 == 0) continue;
    loop.runUntilIdle();
    for (Followed& each : followed) each.directory.look();
    forwarding.loop.runUntilIdle();
    ASSERT_EQ(forwarding.lines(), Forwarding(lfibs).lines()) << "round " << round;
  }
}

}  // namespace
}  // namespace Mpls
