// The configuration entities, through their public accessors.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "mpls/entities/CommonLib.h"
#include "mpls/entities/Config.h"
#include "mpls/entities/DownstreamMappingSource.h"
#include "mpls/entities/Registration.h"
#include "mpls/entities/RouteConfig.h"
#include "mpls/types/LabelRangeInfo.h"
#include "platform/forma/Dir.h"

namespace Mpls {
namespace {

const RouteKey k100(100, 0);

std::string refusal(const std::function<void()>& call) {
  try {
    call();
  } catch (const Forma::Exception& e) {
    return e.what();
  }
  return "accepted";
}

TEST(ConfigTest, StartsEmptyAndKeepsDefaultsApart) {
  const auto config = configFactory("config");
  EXPECT_FALSE(config->mplsRouting());
  EXPECT_FALSE(config->nexthopResolutionAllowDefaultRoute());
  EXPECT_EQ(config->labelRanges() + config->labelRangeDefaults(), 0U);
  const Forma::Name dynamic(LabelRangeInfo::rangeTypeDynamic);
  config->labelRangeDefaultIs(dynamic, LabelRangeInfo::dynamicDefaultRange);
  config->newLabelRange(dynamic, LabelRange(1000, 16384));
  config->labelRangeDel(dynamic);
  EXPECT_EQ(config->labelRangeFind(dynamic), nullptr);
  EXPECT_EQ(config->labelRange(dynamic), LabelRange());
  EXPECT_EQ(config->labelRangeDefault(dynamic), LabelRangeInfo::dynamicDefaultRange);
}

TEST(ConfigTest, TellsEachChangeOnceAndWithItsKey) {
  struct Log : Config::NotifieeConst {
    void onLabelRange(const Forma::Name& n) override { text += "range " + std::string(n) + ";"; }
    void onLabelRangeDefault(const Forma::Name&) override { text += "default;"; }
    void onMplsRouting() override { text += "routing;"; }
    void onMplsRoutingDisabledIntf(const Netbase::IntfId& i) override {
      text += std::string(i.name()) + ";";
    }
    std::string text;
  } log;
  const auto config = configFactory("config");
  log.notifierIs(config);
  config->mplsRoutingIs(true);
  config->mplsRoutingIs(true);
  config->labelRangeIs("static", LabelRange(16, 10));
  config->labelRangeIs("static", LabelRange(16, 10));
  config->labelRangeIs("static", LabelRange(16, 11));
  config->mplsRoutingDisabledIntfIs(Netbase::IntfId("Ethernet1"), true);
  config->labelRangeDelAll();
  config->labelRangeDel("static");
  EXPECT_EQ(log.text, "routing;range static;range static;Ethernet1;range static;");
}

TEST(RouteConfigTest, InputOwnsAndMergedRefers) {
  const auto input = routeConfigInputFactory("static");
  const auto merged = routeConfigFactory("config");
  const auto route = input->newRoute(k100);
  EXPECT_EQ(input->routeIs(k100), route) << "get or create";
  EXPECT_EQ(input->newRoute(k100), route);
  merged->routeIs(route);
  const auto other = routeFactory(k100);
  merged->routeIs(other);
  EXPECT_EQ(merged->route(k100), other) << "replaced under its own key";
  merged->routeDel(RouteKey(101, 0));
  EXPECT_EQ(merged->routes(), 1U);
  EXPECT_EQ(refusal([&] { merged->routeIs(nullptr); }),
            "null _route parameter to mutator for Mpls::RouteConfig::route not allowed");
  input->routeDel(route->key());
  EXPECT_FALSE(input->route(k100));
  EXPECT_TRUE(route->isDeleted());
}

TEST(RouteConfigTest, RouteContentSurfacesAtItsInputOnly) {
  struct Log : RouteConfigInput::NotifieeConst {
    void onRoute(const RouteKey& key) override {
      present = notifier()->routeFind(key) != nullptr;
      ++calls;
    }
    int calls = 0;
    bool present = false;
  } log;
  const auto input = routeConfigInputFactory("static");
  log.notifierIs(input);
  const auto route = input->newRoute(k100);
  route->viaIs(Via(), true);
  route->viaIs(Via(), true);
  route->viaIs(Via(), false);
  EXPECT_EQ(log.calls, 3);
  input->routeDel(k100);
  EXPECT_EQ(log.calls, 4);
  EXPECT_FALSE(log.present);
  route->viaDelAll();
  EXPECT_EQ(log.calls, 4);
}

TEST(RouteConfigTest, NamesAndPathsOfKeyedEntities) {
  const auto root = Forma::dirFactory("");
  const auto input = routeConfigInputFactory("static");
  root->entryIs(input);
  const auto route = input->newRoute(k100);
  EXPECT_EQ(route->name(), Forma::Name(valueToStrep(k100)));
  EXPECT_EQ(route->fullName(), "static/route/" + std::string(valueToStrep(k100).view()));
  EXPECT_LE(sizeof(Route), 56U) << "there may be a million";
}

TEST(CommonLibTest, SingleChildrenAreMadeOnceAndNotOtherwise) {
  const auto lib = commonLibFactory("lib");
  RouterId here;
  here.stringValueIs("10.0.0.1");
  RouterId there;
  there.stringValueIs("10.0.0.2");
  const auto table = lib->localLabelBindingTableIs("local", here);
  EXPECT_EQ(lib->localLabelBindingTableIs("local", here), table);
  EXPECT_EQ(table->routerId(), here);
  EXPECT_EQ(refusal([&] {
              lib->localLabelBindingTableIs("local", there);
            }).rfind("Reinstantiating the entity with name local", 0),
            0U);
  EXPECT_NE(refusal([&] { lib->localLabelBindingTableIs("other", here); }), "accepted");
  lib->localLabelBindingTableDel();
  lib->localLabelBindingTableDel();
  EXPECT_FALSE(lib->localLabelBindingTable());
  EXPECT_EQ(lib->localLabelBindingTableIs("local", there)->routerId(), there);
  EXPECT_TRUE(lib->peerLabelBindingTableCollIs("peers")->newBindingTable(here));
}

TEST(DownstreamMappingSourceTest, CollectsSourcesByFec) {
  const auto coll = downstreamMappingSourceCollFactory("sources");
  FwdEqvClass fec;
  fec.stringValueIs("10.0.0.0/8");
  const auto one = coll->newDsMappingSource(fec);
  EXPECT_EQ(coll->dsMappingSourceIs(fec), one);
  EXPECT_EQ(one->fwdEqvClass(), fec);
  one->newSource(LFib::lfibSourceLdp(), true);
  EXPECT_EQ(one->sources(), 1U);
  coll->dsMappingSourceDelAll();
  EXPECT_EQ(coll->dsMappingSources(), 0U);
}

/// Every registered entity type that a name can make is made, and every attribute and value of it
/// can be written and read back by name.
TEST(RegistrationTest, EveryEntityTypeIsUsableByName) {
  Forma::TypeRegistry registry;
  registerEntityTypes(registry);
  const auto dir = Forma::dirFactory("dir");
  std::size_t made = 0;
  for (const auto& [name, type] : registry.entities()) {
    for (const Forma::MemberType& member : type->members) {
      const bool holdsValues = member.put && member.kind != Forma::MemberKind::references;
      EXPECT_TRUE(!holdsValues || registry.findValue(member.valueType)) << name << member.name;
      EXPECT_TRUE(member.keyType.empty() || registry.findValue(member.keyType)) << member.name;
    }
    if (!type->make) continue;
    const auto entity = dir->newEntity(registry, name, Forma::Name(Forma::String8(name)));
    ++made;
    for (const Forma::MemberType& member : type->members) {
      if (member.kind != Forma::MemberKind::values) continue;
      const Forma::AnyValue key = registry.newValue(member.keyType);
      const Forma::AnyValue value = registry.newValue(member.valueType);
      member.put(*entity, key.data(), value.data());
      ASSERT_EQ(member.size(*entity), 1U) << name << "::" << member.name;
      EXPECT_TRUE(
          registry.value(member.valueType).equal(member.find(*entity, key.data()), value.data()));
      member.erase(*entity, key.data());
      EXPECT_EQ(member.size(*entity), 0U);
    }
  }
  EXPECT_GE(made, 9U);
}

}  // namespace
}  // namespace Mpls
