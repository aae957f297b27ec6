#include "mpls/labelmgr/LabelManagerSm.h"

#include "mpls/labelmgr/LabelPlan.h"
#include "tests/mpls/labelmgr/LabelManagerFixture.h"
#include "tests/support/Checks.h"

namespace Mpls {
namespace {

using Checks::raised;
using LabelManagerSmTest = LabelManagerFixture;

/// The messages of the machine and its mounters while `f` runs.
template <class F>
std::string traced(F f) {
  return Checks::traced("LabelManager*/8", f);
}

TEST_F(LabelManagerSmTest, TracesSayWhatHappenedInOrder) {
  rangeIs(100000, 16384);
  client("ldp")->labelRequestIs(LabelRequest("a"));
  status->newLabelBlockAllocation("ldp")->blockIs("a", LabelBlock(100000));
  status->newLabelBlockAllocation("old")->blockIs("b", LabelBlock(1000));
  EXPECT_EQ(traced([&] { start(); }),
            "handleLabelRange allocate 1 blocks.\n"
            "syncAllocations sync client ldp with Centrum (restart)\n"
            "handleRangeExhausted backlog: false, range exhausted: true\n"
            "syncAllocations client ldp uses block 0 for request a, block start: 100000\n"
            "syncAllocations sync client old with Centrum (restart)\n"
            "syncAllocations Centrum status is inconsistent for clientold, idx: 262137, idx max: 0,"
            " iter->blockStart(): 1000, blockStart( idx ): 4294952608\n"
            "handleRangeExhausted backlog: false, range exhausted: true\n"
            "handleLabelRequestDir handle mpls/config/labelRequest/ldp\n"
            "handleLabelRequestDircreating mounter, path: mpls/config/labelRequest/ldp\n");
  EXPECT_EQ(traced([&] { loop.runUntilIdle(); }),
            "doMountsComplete name: ldp, mntStatus: mountSuccess\n"
            "handleLabelManagerClient client added: ldp\n"
            "handleLabelRequest client: ldp, ID: a\n"
            "allocateLabelBlock client: ldp, ID: a, range exhausted: false\n"
            "handleRangeExhausted backlog: false, range exhausted: true\n"
            "allocateLabelBlocka was added, index: 0\n");
  EXPECT_EQ(traced([&] {
              client("ldp")->labelRequestIs(LabelRequest("c"));
              client("ldp")->labelRequestDel("a");
              client("ldp")->labelRequestDel("x");
              loop.advance(clock, 1.0);
            }),
            "handleLabelRequest client: ldp, ID: c\n"
            "allocateLabelBlock client: ldp, ID: c, range exhausted: true\n"
            "allocateLabelBlockc could not be fulfilled.\n"
            "handleLabelRequest client: ldp, ID: a\n"
            "removeLabelBlock client: ldp, ID: a, range exhausted: true\n"
            "removeLabelBlocka was removed, index: 0\n"
            "handleRangeExhausted backlog: true, range exhausted: false\n"
            "handleLabelRequest client: ldp, ID: c\n"
            "allocateLabelBlock client: ldp, ID: c, range exhausted: false\n"
            "handleRangeExhausted backlog: false, range exhausted: true\n"
            "allocateLabelBlockc was added, index: 0\n");
  em->newEntity("mpls/config/labelRequest/bad", "Forma::Dir");
  EXPECT_EQ(traced([&] {
              loop.runUntilIdle();
              sm->handleLabelManagerClient("bad");
              dir->entryDel("bad");
            }),
            "doMountsComplete name: bad, mntStatus: mountWrongType\n"
            "doMountsComplete unable to mount: mpls/config/labelRequest/bad, status: "
            "mountWrongType\n"
            "handleLabelManagerClient client removed: bad\n"
            "handleLabelManagerClient defer pending client removal: bad\n"
            "handleLabelRequestDir handle mpls/config/labelRequest/bad\n"
            "handleLabelRequestDirdeleting mounter\n"
            "handleLabelManagerClient client removed: bad\n");
  status->newLabelBlockAllocation("two")->blockIs("b", LabelBlock(100000));
  const std::string again = traced([&] { start(); });
  EXPECT_NE(again.find(" error: idx already used for clienttwo, idx: 0, iter->blockStart(): "
                       "100000, blockStart( idx ): 100000\n"),
            std::string::npos);
  loop.runUntilIdle();
  const std::string moved = traced([&] { rangeIs(200000, 16384); });
  EXPECT_NE(moved.find("allocate 1 blocks.\nhandleLabelRangereset allocator\n"), std::string::npos);
  rangeIs(200000, 32768);
  client("ldp")->labelRequestIs(LabelRequest("d"));
  const std::string shrunk = traced([&] { rangeIs(200000, 16384); });
  EXPECT_NE(shrunk.find("allocateLabelBlock block for ID d is no longer valid.\n"
                        "allocateLabelBlockd could not be fulfilled.\n"),
            std::string::npos);
  EXPECT_NE(shrunk.find("allocateLabelBlockc already fulfilled\n"), std::string::npos);
}

TEST_F(LabelManagerSmTest, TheRangeIsReadPublishedAndCutAsConfigured) {
  const auto blocks = [&](std::uint32_t base, std::uint32_t size) {
    rangeIs(base, size);
    const LabelRange now = status->dynamicLabelRange();
    EXPECT_EQ(now, size == 0 && base == 0 ? LabelRange(100000, 262144) : LabelRange(base, size));
    return sm->drAlloc() ? sm->drAllocConfig()->range().last() + 1 : 0;
  };
  start();
  EXPECT_EQ(blocks(0, 0), 16U);
  EXPECT_EQ(blocks(5, 0), 0U);
  EXPECT_EQ(blocks(0, 1048576), 63U);
  EXPECT_EQ(blocks(1032192, 16384), 0U);
  EXPECT_EQ(blocks(1032191, 16385), 1U);
  EXPECT_EQ(blocks(100000, 16383), 0U);
  EXPECT_TRUE(sm->rangeExhausted());
  EXPECT_EQ(sm->blockStart(2).value(), 132768U);
  EXPECT_EQ(raised<Forma::RangeException>([&] { sm->blockStart(~0U); }),
            "MplsLabel::value < MplsLabel::min or > MplsLabel::luWithdraw not allowed");
  const auto unset = [&] { config->labelRangeIs("dynamic", LabelRange()); };
  EXPECT_EQ(raised<Forma::RangeException>(unset),
            "LabelRange::base > Netbase::MplsLabel::max not allowed");
}

TEST_F(LabelManagerSmTest, ARestartWithAnUnreadableRangeAdoptsOnceItCanBeRead) {
  client("ldp")->labelRequestIs(LabelRequest("a"));
  status->newLabelBlockAllocation("ldp")->blockIs("a", LabelBlock(116384));
  config->labelRangeIs("dynamic", LabelRange());
  start();
  client("ldp")->labelRequestIs(LabelRequest("b"));
  loop.runUntilIdle();
  EXPECT_EQ(published(), (Blocks{{{"ldp", "a"}, 116384}}));
  config->labelRangeDel("dynamic");
  loop.runUntilIdle();
  EXPECT_EQ(published(), (Blocks{{{"ldp", "a"}, 116384}, {{"ldp", "b"}, 100000}}));
}

TEST_F(LabelManagerSmTest, OddNamesAndReplacedEntriesDoNoHarm) {
  start();
  const std::string longName(5000, 'x');
  for (const std::string& name : {std::string("a/b"), std::string("%s"), longName}) {
    dir->entryIs(clientLabelRequestFactory(name));
    loop.runUntilIdle();
    if (const auto requests = Forma::ptrCast<ClientLabelRequest>(dir->entry(name)))
      requests->labelRequestIs(LabelRequest(longName));
  }
  dir->entryIs(clientLabelRequestFactory(""));
  loop.runUntilIdle();
  EXPECT_NE(block(longName, longName), 1048576U);
  EXPECT_NE(block("%s", longName), 1048576U);

  const auto mounter = sm->mounter("%s");
  dir->entryDel("%s");
  dir->entryIs(clientLabelRequestFactory("%s"));
  mounter->doMountsComplete(Centrum::mountSuccess(), em);  // late: another mount is under way
  EXPECT_FALSE(sm->client()->request("%s"));
  loop.runUntilIdle();

  const auto after = clientLabelRequestFactory("%s");
  after->labelRequestIs(LabelRequest("new"));
  dir->entryIs(after);
  loop.runUntilIdle();
  EXPECT_EQ(status->labelBlockAllocation("%s")->blocks(), 1U);
  EXPECT_NE(block("%s", "new"), 1048576U);
}

TEST_F(LabelManagerSmTest, APlanOfADoubledBlockPromisesNothing) {
  const LabelRange one(16, LabelBlock::blockSize);
  const auto held = client("c");
  const auto requests = labelManagerClientFactory("client");
  requests->requestIs(held);
  status->dynamicLabelRangeIs(one);
  const auto published = status->labelBlockAllocationIs("c");
  for (const char* id : {"a", "b", "open"}) held->newLabelRequest(LabelRequest(id));
  for (const char* id : {"a", "b"}) published->blockIs(id, LabelBlock(16));
  EXPECT_EQ(labelPlan(one, *status, *requests).count(LabelFate::waits), 1U);
}

TEST_F(LabelManagerSmTest, WhatObserversDoLeavesAManagerThatGoesOn) {
  start();
  client("ldp")->labelRequestIs(LabelRequest("a"));
  loop.runUntilIdle();
  rangeIs(100000, LabelBlock::blockSize);
  struct Raises : Kiln::NumAllocatorStatus::NotifieeConst {
    void onRangeExhausted() override { throw std::runtime_error("observer"); }
  } raises;
  raises.notifierIs(sm->drAllocStatus());
  EXPECT_THROW(rangeIs(200000, LabelBlock::blockSize), std::runtime_error);  // a new allocator
  EXPECT_EQ(block("ldp", "a"), 200000U);
  raises.notifierIs(nullptr);

  rangeIs(200000, 2 * LabelBlock::blockSize);
  struct Deletes : Api::Status::Notifiee {
    void onLabelBlockAllocation(const Forma::Name& name) override {
      notifier()->labelBlockAllocationDel(name);
    }
  } deletes;
  deletes.notifierIs(status);
  client("bgp")->labelRequestIs(LabelRequest("b"));
  loop.runUntilIdle();
  EXPECT_FALSE(status->labelBlockAllocation("bgp"));
  deletes.notifierIs(nullptr);
  client("bgp")->labelRequestIs(LabelRequest("c"));
  EXPECT_NE(block("bgp", "b"), block("ldp", "a"));
}

TEST_F(LabelManagerSmTest, RefusalsKeepTheirTexts) {
  start();
  EXPECT_EQ(raised<Forma::NullException>([&] { sm->client()->requestIs(nullptr); }),
            "null _request parameter to mutator for Mpls::LabelManagerClient::request not "
            "allowed\"");
  EXPECT_TRUE(sm->newMounter("x", sm->client()) == sm->newMounter("x", sm->client()));
  EXPECT_EQ(raised<Forma::RangeException>(
                [&] { sm->newMounter("x", labelManagerClientFactory("other")); }),
            "Reinstantiating the entity with name x where constructor parameter attribute _client "
            "has a different value of other than the current value of client not allowed");
  EXPECT_EQ(raised<Forma::NullException>(
                [&] { labelManagerSmFactory(loop.timers(), em, dir, nullptr, status); }),
            "null ValidPtr");
}

using LabelManagerSmDeathTest = LabelManagerFixture;

TEST_F(LabelManagerSmDeathTest, BrokenRulesEndTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  start();
  EXPECT_DEATH(sm->handleLabelRequest("x", "a"), "\\(cltReq\\)(.|\n)*client x, ID a");
  EXPECT_DEATH(sm->allocateLabelBlock("x", "a"), "\\(alloc\\)");
  EXPECT_DEATH(sm->removeLabelBlock("x", "a"), "\\(alloc\\)");
  status->newLabelBlockAllocation("x");  // nobody but the machine may do that
  EXPECT_DEATH(sm->allocateLabelBlock("x", "a"), "\\(cltInfo\\)");
  EXPECT_DEATH(sm->removeLabelBlock("x", "a"), "\\(cltInfo\\)");
}

}  // namespace
}  // namespace Mpls
