// Random changes of everything that the label manager reads, restarts and damage included.
#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <random>

#include "mpls/labelmgr/LabelPlan.h"
#include "tests/mpls/labelmgr/LabelManagerFixture.h"

namespace Mpls {
namespace {

/// Sees every change of a block, at once. Blocks must be disjoint whenever anybody looks.
struct Reader : Api::Status::NotifieeConst {
  struct Client : LabelBlockAllocation::NotifieeConst {
    explicit Client(Reader& reader) : owner(reader) {}
    void onBlock(const Forma::Name& id) override { owner.look(*notifier(), id); }
    Reader& owner;
  };
  void onLabelBlockAllocation(const Forma::Name& name) override {
    const auto alloc = notifier()->labelBlockAllocation(name);
    auto& reader = clients[std::string(name)];
    reader = alloc ? std::make_shared<Client>(*this) : nullptr;
    if (reader) reader->notifierIs(alloc);
  }
  void look(const LabelBlockAllocation& alloc, const Forma::Name& id) {
    std::set<std::uint32_t> starts;
    std::size_t blocks = 0;
    for (const auto& one : notifier()->labelBlockAllocationIteratorConst())
      for (const auto& held : one.value->blockIteratorConst())
        starts.insert(held.value.blockStart().value()), ++blocks;
    EXPECT_EQ(starts.size(), blocks) << "one block, two holders";
    for (auto at = starts.begin(), next = at; at != starts.end() && ++next != starts.end(); ++at)
      EXPECT_GE(*next - *at, LabelBlock::blockSize) << "blocks overlap";
    if (meddle) meddle(alloc.name(), id);
  }
  std::map<std::string, std::shared_ptr<Client>> clients;
  std::function<void(const Forma::Name&, const Forma::Name&)> meddle;
};

/// Hears of exhaustion while a number is given.
struct StatusReader : Kiln::NumAllocatorStatus::NotifieeConst {
  void onRangeExhausted() override { meddle(); }
  std::function<void()> meddle;
};

class LabelManagerModelTest : public LabelManagerFixture,
                              public ::testing::WithParamInterface<unsigned> {
 protected:
  LabelManagerModelTest() {
    reader.notifierIs(status);
    statusReader.meddle = [this] { meddle(anyClient(), anyId()); };
    loop.exceptionHandlerIs([](const std::exception_ptr&) {});
    reader.meddle = [this](const Forma::Name& name, const Forma::Name& id) { meddle(name, id); };
  }
  ~LabelManagerModelTest() override { reader.notifierIs(nullptr); }

  unsigned below(unsigned n) { return static_cast<unsigned>(random() % n); }
  std::string anyClient() { return std::array{"bgp", "ldp", "rsvp", "isis"}[below(4)]; }
  std::string anyId() { return below(40) == 0 ? "" : std::to_string(below(8)); }
  Forma::Ptr<ClientLabelRequest> requestsOf(const std::string& name) const {
    return Forma::ptrCast<ClientLabelRequest>(dir->entry(name));
  }
  bool readable() const {
    const LabelRange* const range = config->labelRangeFind("dynamic");
    return range == nullptr || *range != LabelRange();
  }
  /// What the machine holds counts only while it has a range.
  bool serves() const { return sm->allocValid(); }

  /// None: no entry, so that the default is in force.
  std::optional<LabelRange> anyRange() {
    const std::uint32_t bases[] = {16, 100000, 100000, 100000, 116384, 900000, 1032191};
    const std::uint32_t sizes[] = {16383, 16384, 49152, 70000, 100000, 262144};
    switch (below(12)) {
      case 0:
        return std::nullopt;
      case 1:
        return LabelRange();
      case 2:
        return LabelRange(0, 0);
      case 3:
        return LabelRange(0, 1048576);
      default:
        break;
    }
    const std::uint32_t now = status->dynamicLabelRange().base().value();
    const std::uint32_t base = now < 1032191 && below(2) == 0 ? now : bases[below(7)];
    return LabelRange(base, std::min(sizes[below(6)], 1048576 - base));
  }
  void rangeIs(const std::optional<LabelRange>& range) {
    if (range) config->labelRangeIs("dynamic", *range);
    else config->labelRangeDel("dynamic");
  }
  /// The machine does what the plan said, once all numbers had their rest.
  void changeRange() {
    const std::optional<LabelRange> range = anyRange();
    const LabelRange next = range.value_or(LabelRange(0, 0));
    if (meddles || below(2) == 0 || next == LabelRange()) return rangeIs(range);
    loop.advance(clock, 1.5);
    const LabelPlan plan = labelPlan(next, *status, *sm->client());
    const bool planned = serves() && !(config->labelRange("dynamic") == next);
    rangeIs(range);
    if (!planned) return;
    for (const LabelPlan::Step& step : plan.steps) {
      const std::uint32_t now = block(std::string(step.client), std::string(step.id));
      const bool lost = step.fate == LabelFate::loses || step.fate == LabelFate::waits;
      EXPECT_EQ(now == LabelBlock().blockStart().value(), lost) << labelFateText(step.fate);
      EXPECT_TRUE(step.fate != LabelFate::keeps || now == step.block.blockStart().value());
    }
    EXPECT_EQ(plan.range, status->dynamicLabelRange());
    EXPECT_EQ(plan.steps.size() - plan.count(LabelFate::loses) - plan.count(LabelFate::waits),
              published().size());
  }
  /// What an observer in the process may do to what the machine is just working on.
  void meddle(const Forma::Name& name, const Forma::Name& id) {
    if (budget == 0 || below(3) != 0) return;
    --budget;
    const auto requests = requestsOf(std::string(name));
    const unsigned action = below(8);
    if (action == 0 && readable()) {
      LabelManagerFixture::rangeIs(100000, below(5) * 16384);
    } else if (action == 1) {
      changeClient();
    } else if (requests) {
      if (action < 5) requests->labelRequestDel(id);
      else requests->labelRequestIs(LabelRequest(anyId()));
    }
  }
  void changeRequest() {
    if (const auto requests = requestsOf(anyClient())) {
      if (below(3) == 0) requests->labelRequestDel(anyId());
      else requests->labelRequestIs(LabelRequest(anyId()));
    }
  }
  /// Arrives, with requests or (so that its mount fails) as something else; or departs.
  void changeClient() {
    const std::string name = anyClient();
    if (dir->entry(name)) return dir->entryDel(name);
    if (below(5) == 0) {
      em->newEntity("mpls/config/labelRequest/" + name, "Forma::Dir");
      return;
    }
    const auto requests = client(name);
    for (unsigned i = below(8); i != 0; --i) requests->labelRequestIs(LabelRequest(anyId()));
  }
  /// The process ends and another one takes over what is published, perhaps damaged meanwhile.
  void restart() {
    sm = nullptr;
    for (const auto& one : status->labelBlockAllocationIteratorConst())
      for (const auto& held : one.value->blockIteratorConst())
        if (damages && below(4) == 0) {
          reader.notifierIs(nullptr), reader.clients.clear();
          const std::uint32_t starts[] = {16, 1000, 100001, 116384, 8388608, 100000};
          one.value->blockIs(held.key, LabelBlock(starts[below(6)]));
        }
    start();
    statusReader.notifierIs(sm->drAllocStatus());
    if (reader.notifier() != nullptr) return;
    reader.notifierIs(status);
    for (const auto& one : status->labelBlockAllocationIteratorConst())
      reader.onLabelBlockAllocation(one.key);
  }

  /// One change. Whether blocks of requests that stay open must stay where they are.
  bool step() {
    meddles = below(6) == 0;
    budget = meddles ? 3 : 0;
    damages = false;
    const unsigned action = below(100);
    if (action < 45) changeRequest();
    else if (action < 60) changeClient();
    else if (action < 80) loop.advance(clock, below(4) * 0.4);
    else if (action < 85) restart();
    else if (action < 87) restart(), changeRange();
    else if (action < 90) changeRange();
    else if (action < 93) config->mplsRoutingIs(below(4) != 0);
    else if (action < 95 && readable()) damages = true, restart();
    else if (action < 96) sm->handleInitialized(), sm->handleLabelRange();
    else if (action < 97) sm->handleLabelRequestDir(), sm->handleLabelManagerClient();
    return (action < 85 || action >= 95) && config->mplsRouting();
  }

  bool isOpen(const Request& r) const {
    const auto requests = requestsOf(r.first);
    return requests && requests->labelRequestFind(r.second) != nullptr;
  }
  void check() {
    const Blocks blocks = published();
    const DynamicRange range(status->dynamicLabelRange() == LabelRange()
                                 ? LabelRange(0, 0)
                                 : status->dynamicLabelRange());
    std::set<std::uint32_t> indexes;
    for (const auto& [request, start] : blocks) {
      EXPECT_TRUE(range.issues(LabelBlock(start))) << start;
      EXPECT_TRUE(indexes.insert(range.blockIdx(start)).second) << "one block, two holders";
      EXPECT_TRUE(dir->entry(request.first)) << "a block of a client that is gone";
      EXPECT_TRUE(!sm->client()->request(request.first) || isOpen(request)) << "not given back";
      if (!serves()) continue;
      const auto info = sm->clientInfo(request.first);
      EXPECT_TRUE(info && info->blockIndex(request.second) == range.blockIdx(start));
    }
    EXPECT_TRUE(sm->restarting() || sm->clientInfos() == status->labelBlockAllocations());
    for (const auto& one : status->labelBlockAllocationIteratorConst())
      EXPECT_TRUE(!serves() || sm->clientInfo(one.key)->blockIndexs() == one.value->blocks());
    for (std::uint32_t i = 0; serves() && i < range.blocks(); ++i)
      EXPECT_EQ(sm->drAlloc()->isReserved(i), indexes.contains(i)) << i;
    for (const auto& one : sm->client()->requestIteratorConst())
      for (const auto& open : one.value->labelRequestIteratorConst())
        EXPECT_TRUE(block(std::string(one.key), std::string(open.key)) != 1048576U ||
                    (sm->rangeExhausted() && (sm->requestBacklog() || !serves())))
            << "waits although there are blocks";
  }
  /// After a rest, requests wait only while all blocks are in use.
  void checkRested() {
    budget = 0;
    loop.advance(clock, 1.5);
    check();
    if (!serves()) return;
    std::size_t open = 0, held = 0;
    for (const auto& [request, start] : published()) held += !sm->client()->request(request.first);
    for (const auto& one : sm->client()->requestIteratorConst()) open += one.value->labelRequests();
    const DynamicRange range(status->dynamicLabelRange());
    EXPECT_EQ(published().size(), std::min<std::size_t>(range.blocks(), open + held));
  }

  std::mt19937 random{GetParam()};
  Reader reader;
  StatusReader statusReader;
  bool meddles = false;
  int budget = 0;
  bool damages = false;
};

TEST_P(LabelManagerModelTest, BlocksAreDisjointAndStayAndNobodyWaitsInVain) {
  start();
  for (int i = 0; i < 1500 && !HasFailure(); ++i) {
    SCOPED_TRACE(i);
    const Blocks before = published();
    bool stays = true;
    try {
      stays = step();
    } catch (const Forma::RangeException& problem) {
      stays = false;
      EXPECT_FALSE(readable()) << problem.what();
    }
    const bool idle = below(3) != 0;  // or mounts are late
    if (idle) loop.runUntilIdle();
    check();
    for (const auto& [request, start] : before)
      if (const std::uint32_t now = block(request.first, request.second);
          stays && !meddles && isOpen(request)) {
        EXPECT_EQ(now, start) << request.first << ' ' << request.second;
      }
    if (below(20) == 0) checkRested();
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, LabelManagerModelTest, ::testing::Range(1U, 41U));

}  // namespace
}  // namespace Mpls
