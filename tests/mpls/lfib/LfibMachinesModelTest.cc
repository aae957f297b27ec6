// Random changes of the LFIB, in this process and in another one that is killed now and then, with
// a reader that does not look for a while: whatever happens the machines end up with what follows
// from the tables, computed from nothing, and with what fresh machines make of them.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>
#include <utility>

#include "mpls/lfib/LfibIpLookupSm.h"
#include "mpls/lfib/LfibStatusSm.h"
#include "mpls/lfib/LfibTrackingSm.h"
#include "tests/mpls/lfib/LfibScribeProcess.h"
#include "tests/platform/tarn/Folder.h"

namespace Mpls {
namespace {

using RouteKeys = std::set<RouteKey>;
using Tags = std::map<LfibDot1qTagToVlanKey, std::map<Netbase::VlanId, Netbase::VlanId>>;

/// What follows from the tables of an LFIB.
struct Picture {
  std::map<RouteKey, LfibViaSetKey> viaSetOf;
  std::map<LfibViaSetKey, RouteKeys> routesOf;
  std::map<LfibViaSetKey, std::set<LfibViaKey>> viasOf;
  std::map<LfibViaKey, std::set<LfibViaSetKey>> viaSetsOf;
  std::set<LfibIpLookupStatusLabelVrfAf> lookups;
  bool operator==(const Picture&) const = default;
};

Picture pictureOf(const LfibStatus& lfib) {
  Picture made;
  for (const auto& [key, viaSet] : lfib.viaSetIteratorConst())
    for (const LfibViaKey& via : viaSet.viaKeyIteratorConst()) {
      made.viasOf[key].insert(via);
      made.viaSetsOf[via].insert(key);
    }
  for (const auto& [key, route] : lfib.lfibRouteIteratorConst()) {
    const LfibViaSetKey viaSet = route.viaSetKey();
    made.viaSetOf[key] = viaSet;
    made.routesOf[viaSet].insert(key);
    LfibIpLookupVia via;
    if (viaSet.viaType() == viaTypeIpLookup_ && made.viasOf.contains(viaSet) &&
        lfib.ipLookupViaFind(*made.viasOf[viaSet].begin(), &via))
      made.lookups.insert({key.topLabel(), via.vrfName(), via.addressFamily()});
  }
  return made;
}

/// The machines of a reader, and one who tells them of changes of vias that they do not follow.
struct Machines : LfibStatus::NotifieeConst {
  explicit Machines(const Forma::Ptr<LfibStatus>& status) : lfib(status) { notifierIs(lfib); }
  using NotifieeConst::onIpLookupVia;
  void onIpLookupVia(const LfibViaKey& key) override { tracking->handleVia(key); }

  Picture picture() const {
    Picture made;
    tracking->routeKeyToViaSetKeyMap().forEach(
        [&](const RouteKey& key, const LfibViaSetKey& viaSet) { made.viaSetOf[key] = viaSet; });
    tracking->viaSetKeyToRouteKeySetMap().forEach([&](const auto& key, const auto& set) {
      auto& keys = made.routesOf[key];  // also for an empty set
      for (const auto& one : set->routeKeyIteratorConst()) keys.insert(one.key);
    });
    tracking->viaSetKeyToViaKeySetMap().forEach([&](const auto& key, const auto& set) {
      auto& keys = made.viasOf[key];
      for (const auto& one : set->viaKeyIteratorConst()) keys.insert(one.key);
    });
    tracking->viaKeyToViaSetKeySetMap().forEach([&](const auto& key, const auto& set) {
      auto& keys = made.viaSetsOf[key];
      for (const auto& one : set->viaSetKeyIteratorConst()) keys.insert(one.key);
    });
    for (const auto& one : lookups->labelVrfAfIteratorConst()) made.lookups.insert(one.key);
    return made;
  }

  const Forma::Ptr<LfibStatus> lfib;
  Forma::Ptr<LfibTrackingStatus> backlog = lfibTrackingStatusFactory("backlog");
  Forma::Ptr<LfibIpLookupStatus> lookups = lfibIpLookupStatusFactory("lookups");
  Forma::Ptr<LfibTrackingSm> tracking = lfibTrackingSmFactory(lfib, backlog, "tracking");
  Forma::Ptr<LfibIpLookupSm> lookup = lfibIpLookupSmFactory(lfib, backlog, lookups);
};

void expectAsTables(const Machines& machines) {
  const Picture expected = pictureOf(*machines.lfib), actual = machines.picture();
  EXPECT_EQ(actual.viaSetOf, expected.viaSetOf);
  EXPECT_EQ(actual.routesOf, expected.routesOf);
  EXPECT_EQ(actual.viasOf, expected.viasOf);
  EXPECT_EQ(actual.viaSetsOf, expected.viaSetsOf);
  EXPECT_EQ(actual.lookups, expected.lookups);
  EXPECT_EQ(machines.backlog->routeKeyBacklogs(), 0U);
  EXPECT_EQ(Machines(machines.lfib).picture(), expected) << "fresh machines";
}

/// The maps as they stand in rows, and as entities; empty ones are not told apart from none.
Tags rowTagsOf(const LfibStatus& lfib) {
  Tags tags;
  for (const auto& [key, row] : lfib.dot1qTagToVlanCompositeIteratorConst())
    tags[key.dot1qTagToVlanKey()][key.dot1qTag()] = row.localVlan();
  return tags;
}
Tags mapTagsOf(const LfibStatus& lfib) {
  Tags tags;
  for (const auto& map : lfib.dot1qTagToVlanCollIteratorConst())
    for (const auto& one : map.value->dot1qTagToVlanIdIteratorConst())
      tags[map.key][one.key] = one.value;
  return tags;
}

class LfibMachinesModelTest : public ::testing::TestWithParam<unsigned> {};

/// The routes that a change touches, by the tables.
RouteKeys touched(const LfibScribe::Changed& changed, const LfibStatus& lfib) {
  Picture picture = pictureOf(lfib);
  if (const auto* const route = std::get_if<RouteKey>(&changed)) return {*route};
  if (const auto* const viaSet = std::get_if<LfibViaSetKey>(&changed))
    return picture.routesOf[*viaSet];
  const auto* const via = std::get_if<LfibViaKey>(&changed);
  if (via == nullptr || via->viaType() != viaTypeMplsPseudowire_) return {};
  RouteKeys routes;
  for (const LfibViaSetKey& viaSet : picture.viaSetsOf[*via])
    routes.merge(picture.routesOf[viaSet]);
  return routes;
}

RouteKeys taken(LfibTrackingStatus& backlog) {
  RouteKeys keys;
  for (const auto& one : backlog.routeKeyBacklogIteratorConst()) keys.insert(one.key);
  backlog.routeKeyBacklogDelAll();
  return keys;
}

TEST_P(LfibMachinesModelTest, FollowTheTablesAndTouchNoOtherRoute) {
  const auto lfib = lfibStatusFactory("lfib");
  LfibScribe scribe(lfib, GetParam());
  for (int i = 0; i < 30; ++i) scribe.step();
  const auto producer = lfibStatusProducerSmFactory(lfib);
  const Machines machines(lfib);
  const auto backlog = lfibTrackingStatusFactory("undrained");
  const auto tracking = lfibTrackingSmFactory(lfib, backlog, "tracking");
  RouteKeys all;
  for (const auto& one : lfib->lfibRouteIteratorConst()) all.insert(one.key);
  EXPECT_EQ(taken(*backlog), all);
  for (int i = 0; i < 600 && !HasFailure(); ++i) {
    scribe.step();
    EXPECT_EQ(taken(*backlog), touched(scribe.changed, *lfib)) << "step " << i;
    EXPECT_EQ(rowTagsOf(*lfib), mapTagsOf(*lfib)) << "step " << i;
    expectAsTables(machines);
  }
}

TEST_P(LfibMachinesModelTest, FollowAWriterInAnotherProcessThatIsKilled) {
  const Tarn::Folder folder;
  const std::string path = folder / "lfib";
  std::mt19937 random(GetParam());
  auto writer = std::make_unique<LfibScribeProcess>(path, GetParam());
  Kiln::EventLoop loop;
  Tarn::ReaderDirectory directory(loop, path, [](const std::string&) {});
  const auto lfib = lfibStatusFactory("read");
  FormaTarn::attachReader(*lfib, directory);
  const auto consumer = lfibStatusConsumerSmFactory(lfib);
  const Machines machines(lfib);
  for (unsigned i = 0; i < 120 && !HasFailure(); ++i) {
    writer->steps(static_cast<unsigned char>(random() % 20));
    if (random() % 10 == 0) {
      writer = nullptr;
      writer = std::make_unique<LfibScribeProcess>(path, GetParam() * 1000 + i);
      writer->steps(1);  // it has adopted the tables
    }
    if (random() % 3 == 0) continue;  // the reader does not look
    loop.runUntilIdle();
    directory.look();
    expectAsTables(machines);
    EXPECT_EQ(mapTagsOf(*lfib), rowTagsOf(*lfib));
    EXPECT_EQ(lfib->dot1qTagToVlanColls(), mapTagsOf(*lfib).size()) << "empty maps are gone";
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, LfibMachinesModelTest, ::testing::Range(1U, 7U));

}  // namespace
}  // namespace Mpls
