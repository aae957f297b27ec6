#include "mpls/labelmgr/LabelWaitSm.h"

#include <random>

#include "tests/mpls/labelmgr/LabelManagerFixture.h"

namespace Mpls {
namespace {

std::uint64_t now = 1;

class LabelWaitSmTest : public LabelManagerFixture {
 protected:
  void restart() {
    waits = nullptr;
    start();
    waits = labelWaitSmFactory(sm->client(), dir, status, waiting, [] { return now; });
  }
  /// What is noted; clients without anything are not.
  std::map<Request, std::uint64_t> noted() const {
    std::map<Request, std::uint64_t> all;
    for (const auto& one : waiting->clientIteratorConst()) {
      EXPECT_NE(one.value->sinces(), 0U) << one.key.view();
      for (const auto& since : one.value->sinceIteratorConst())
        all[{std::string(one.key), std::string(since.key)}] = since.value;
    }
    return all;
  }
  /// What is to be noted now. While routing is off a new machine mounts nobody: what is noted of
  /// clients that are there all the same stays.
  std::set<Request> open(const std::map<Request, std::uint64_t>& before) const {
    std::set<Request> all;
    for (const auto& [request, since] : before)
      if (!sm->client()->requestFind(Forma::Name(request.first)) &&
          dir->entry(Forma::Name(request.first)))
        all.insert(request);
    const Blocks blocks = published();
    for (const auto& one : sm->client()->requestIteratorConst())
      for (const auto& request : one.value->labelRequestIteratorConst()) {
        const Request key(std::string(one.key), std::string(request.key));
        if (!blocks.contains(key)) all.insert(key);
      }
    return all;
  }

  const Forma::Ptr<WaitingLabelRequests> waiting = waitingLabelRequestsFactory("waiting");
  Forma::Ptr<LabelWaitSm> waits;
};

/// Whatever happens: what is noted is what waits, and what waited before, restarts included, is
/// noted with the time at which it began.
TEST_F(LabelWaitSmTest, NotesWhatWaitsFromItsBeginningAcrossRestarts) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  const auto below = [&](unsigned n) { return static_cast<unsigned>(random() % n); };
  waiting->newClient("long gone")->sinceIs("x", 1);
  rangeIs(100000, 3 * LabelBlock::blockSize);
  restart();
  EXPECT_TRUE(noted().empty());
  std::size_t stayed = 0;
  for (int step = 0; step < 3'000; ++step, ++now) {
    const auto before = noted();
    const std::string name(1, static_cast<char>('a' + below(3)));
    const std::string id = std::to_string(below(4));
    switch (below(12)) {
      case 0:
        dir->entryDel(Forma::Name(name));
        break;
      case 1:
        config->mplsRoutingIs(below(3) != 0);
        break;
      case 2:
        rangeIs(100000 + 1000 * below(2), (below(6)) * LabelBlock::blockSize);
        break;
      case 3:
        restart();
        break;
      case 4:
        loop.advance(clock, 1.5);
        break;
      case 5:
      case 6:
      case 7:
        client(name)->labelRequestDel(Forma::String8(id));
        break;
      default:
        client(name)->labelRequestIs(LabelRequest(Forma::String8(id)));
    }
    loop.runUntilIdle();
    std::set<Request> keys;
    for (const auto& [request, since] : noted()) {
      keys.insert(request);
      const auto found = before.find(request);
      if (found == before.end() || since == now) continue;
      EXPECT_EQ(since, found->second);
      ++stayed;
    }
    ASSERT_EQ(keys, open(before)) << "step " << step;
  }
  EXPECT_GT(stayed, 1'000U);
}

TEST_F(LabelWaitSmTest, ARestartIsNoNewWait) {
  rangeIs(100000, 0);
  client("a")->labelRequestIs(LabelRequest("x"));
  restart();
  loop.runUntilIdle();
  const auto before = noted();
  EXPECT_EQ(before, (std::map<Request, std::uint64_t>{{{"a", "x"}, now}}));
  ++now;
  restart();
  EXPECT_EQ(noted(), before) << "the client is not mounted yet";
  loop.runUntilIdle();
  EXPECT_EQ(noted(), before);
}

}  // namespace
}  // namespace Mpls
