// Trees of entities of every registered type are copied onto each other: equal afterwards, and told
// of exactly what differed. What handlers, filters and failures do to a copy.
#include "platform/session/EntityCopy.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "mpls/entities/Config.h"
#include "mpls/entities/Registration.h"
#include "mpls/entities/RouteConfig.h"
#include "platform/forma/Dir.h"
#include "tests/support/Checks.h"
#include "tests/support/ContentText.h"
#include "tests/support/RandomEntities.h"
#include "tests/support/ReplicaWatch.h"

namespace SessionTest {

using namespace Session;
using Forma::Entity;
using Forma::EntityType;
using Forma::Ptr;
using Forma::PtrConst;

class EntityCopyModelTest : public ::testing::TestWithParam<unsigned> {
 protected:
  EntityCopyModelTest() {
    Mpls::registerEntityTypes(registry);
    for (const auto& [name, type] : registry.entities())
      if (type->make && !(strict && refers(*type))) types.push_back(type);
  }
  /// Whether an entity of that type may refer to others, or what lies below it.
  bool refers(const EntityType& type) const {
    return std::ranges::any_of(type.members, [this](const Forma::MemberType& member) {
      if (Forma::isReference(member.kind)) return true;
      const bool owns = Forma::isContent(member.kind) && !member.replica.value;
      return owns && refers(registry.entity(member.valueType));
    });
  }
  /// An entry comes, goes, changes, or gives way to one of another type.
  void change(Forma::Dir& dir) {
    const Forma::Name name = std::to_string(random.below(6));
    if (const Ptr<Entity> there = dir.entry(name); there && random.below(10) != 0) {
      if (const auto inner = Forma::ptrCast<Forma::Dir>(there)) return change(*inner);
      for (auto i = random.below(20); i > 0; --i) random.step(*there);
      return;
    }
    dir.entryDel(name);
    if (random.below(4) != 0)
      dir.newEntity(registry, types[random.below(types.size())]->name, name);
  }

  const bool strict = GetParam() % 2 == 0;
  Forma::TypeRegistry registry;
  std::vector<const EntityType*> types;
  RandomEntities random{registry, GetParam()};
};

/// A reference to another entity of equal content is told without a change of content.
TEST_P(EntityCopyModelTest, TreesAreEqualAfterwardsAndToldWhatDiffered) {
  const CopyHandlers none;
  const auto running = Forma::dirFactory("running");
  const auto candidate = Forma::dirFactory("candidate");
  for (int round = 0; round < 40; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    for (auto i = random.below(25); i > 0; --i) change(*candidate);
    for (auto i = random.below(8); i > 0; --i) change(*running);
    ReplicaWatch watch(*running);
    watch.mayReturn = !strict;
    EntityCopy copy(none);
    ASSERT_TRUE(copy.copyEntity(running, candidate)) << copy.failures().front().text;
    watch.check();
    ASSERT_EQ(watch.problem() + difference(*running, *candidate), "");
    const std::size_t told = watch.told();
    ASSERT_TRUE(copy.copyEntity(running, candidate));
    ASSERT_EQ(watch.told(), told) << "a copy of what is equal tells nobody";
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, EntityCopyModelTest, ::testing::Range(1U, 13U));

/// Notes what it is asked to copy, and copies all but label ranges.
class Handler : public EntityCopyHandler {
  FORMA_ENTITY(SessionTest::Handler, EntityCopyHandler)

 public:
  Handler() { filter->newAttribute("labelRange", true); }
  std::string_view handledType() const override { return Mpls::Config::formaTypeName; }
  void initialize() override { ++initialized; }
  bool handleEntity(EntityCopy& copy, const Ptr<Entity>& dest, const PtrConst<Entity>& src,
                    const CopyPath& path) override {
    asked += src->fullName() + "-->" + dest->fullName() + " at " + path.text();
    return copy.copyAttributes(dest, src, path, filter) && !refuses;
  }
  const Ptr<AttributeFilter> filter = attributeFilterFactory();
  int initialized = 0;
  bool refuses = false;
  std::string asked;
};
FORMA_DEFINE_ENTITY(Handler)

/// Raises an E when it hears of a change.
template <class E>
struct Thrower : Mpls::Config::NotifieeConst {
  void onLabelRange(const Forma::Name&) override { throw E("heard"); }
};

class EntityCopyTest : public ::testing::Test {
 protected:
  EntityCopyTest() {
    from->entryIs(config);
    config->labelRangeIs("static", {100, 10});
    config->mplsRoutingIs(true);
  }
  Mpls::Config& copied() const { return dynamic_cast<Mpls::Config&>(*to->entry("config")); }
  using Failures = std::vector<CopyFailure>;

  const Ptr<Forma::Dir> from = Forma::dirFactory("from"), to = Forma::dirFactory("to");
  const Ptr<Mpls::Config> config = Mpls::configFactory("config");
  const Ptr<Handler> handler = new Handler;
  CopyHandlers handlers;
  EntityCopy copy{handlers};
};

TEST_F(EntityCopyTest, AHandlerTakesOverItsTypeAndLeavesAloneWhatItsFilterNames) {
  handlers.add(handler);
  handlers.add(handler);
  EXPECT_EQ(handler->initialized, 2);
  EXPECT_EQ(Checks::raised<Forma::NameException>([&] { handlers.add(new Handler); }),
            "Mpls::Config has a copy handler already");
  EXPECT_EQ(Checks::raised<Forma::NullException>([&] { handlers.add(nullptr); }), "null ValidPtr");
  EXPECT_TRUE(copy.copyEntity(to, from));
  EXPECT_EQ(handler->asked, "from/config-->to/config at to/config");
  EXPECT_TRUE(copied().mplsRouting());
  EXPECT_EQ(copied().labelRanges(), 0U);

  handler->refuses = true;
  from->entryIs(Mpls::routingInfoFactory("info"));
  EXPECT_FALSE(copy.copyEntity(to, from));
  EXPECT_TRUE(to->entry("info")) << "the rest is copied";
  handler->filter->newAttribute("labelRanges", true);
  EXPECT_FALSE(copy.copyEntity(to, from));
  EXPECT_EQ(copy.failures(),
            (Failures{{"to/config", "refused by its copy handler"},
                      {"to/config",
                       "the filter names labelRanges, which a Mpls::Config does not have"}}));
}

TEST_F(EntityCopyTest, WhatFailsIsNamedByItsPathAndStopsNothingElse) {
  EXPECT_EQ(Checks::raised<Forma::NullException>([&] { copy.copyEntity(nullptr, from); }) +
                Checks::raised<Forma::NullException>([&] { copy.copyEntity(to, nullptr); }),
            "null ValidPtrnull ValidPtr");
  EXPECT_FALSE(copy.copyEntity(to, config));
  from->entryIs(Mpls::routeFactory({100, 0}));
  EXPECT_FALSE(copy.copyEntity(to, from));
  EXPECT_EQ(copied().labelRange("static"), Mpls::LabelRange(100, 10));
  EXPECT_EQ(copy.failures().at(0),
            (CopyFailure{"to", "\"to\" is a Forma::Dir, not a Mpls::Config"}));
  EXPECT_EQ(copy.failures().at(1),
            (CopyFailure{"to/" + std::string(Mpls::routeFactory({100, 0})->name()),
                         "Mpls::Route cannot be made from a name alone"}));

  to->formaReplicaIs(Forma::Replica::none);
  copied().formaReplicaIs(Forma::Replica::copy);
  config->mplsRoutingIs(false);
  for (int i = 0; i < 150; ++i) config->labelRangeIs(std::to_string(i), {16, 1});
  EntityCopy refused(handlers);
  EXPECT_FALSE(refused.copyEntity(to->entry("config"), config));
  EXPECT_EQ(refused.failed(), 152U);  // the flag, and all ranges: the equal one, too
  EXPECT_EQ(refused.failures().size(), EntityCopy::failuresKept);
  EXPECT_EQ(refused.failures().front(),
            (CopyFailure{"to/config.labelRange", "to/config is a read-only copy"}));
  EXPECT_TRUE(copied().mplsRouting());
}

TEST_F(EntityCopyTest, ReadersThatThrowDoNotUndoWhatIsCopied) {
  to->entryIs(Mpls::configFactory("config"));
  Thrower<Forma::RangeException> refuses;
  refuses.notifierIs(&copied());
  EXPECT_FALSE(copy.copyEntity(to, from));
  EXPECT_EQ(copy.failures(), (Failures{{"to/config.labelRange", "heard"}}));
  EXPECT_EQ(difference(*to, *from), "");

  refuses.notifierIs(nullptr);
  Thrower<std::logic_error> fails;
  fails.notifierIs(&copied());
  config->labelRangeDel("static");
  config->mplsRoutingIs(false);
  EXPECT_THROW(copy.copyEntity(to, from), std::logic_error);
  EXPECT_TRUE(copy.copyEntity(to, from)) << "goes on where it was left";
  EXPECT_EQ(difference(*to, *from), "");
}

}  // namespace SessionTest
