// The configuration entities, through their public accessors.
#include <gtest/gtest.h>

#include "mpls/entities/Config.h"
#include "mpls/entities/Registration.h"
#include "mpls/entities/RouteConfig.h"
#include "platform/forma/Dir.h"

namespace Mpls {
namespace {

static_assert(sizeof(Route) <= 56, "there may be a million");

TEST(ConfigTest, TellsEachChangeOnceAndKeepsDefaultsApart) {
  struct Log : Config::NotifieeConst {
    void onLabelRange(const Forma::Name&) override { text += "range;"; }
    void onLabelRangeDefault(const Forma::Name&) override { text += "default;"; }
    void onMplsRouting() override { text += "routing;"; }
    std::string text;
  } log;
  const auto config = configFactory("config");
  log.notifierIs(config);
  EXPECT_FALSE(config->mplsRouting() || config->nexthopResolutionAllowDefaultRoute());
  for (const std::uint32_t size : {10U, 10U, 11U}) {
    config->mplsRoutingIs(true);
    config->labelRangeIs("static", LabelRange(16, size));
    config->labelRangeDefaultIs("static", LabelRange(16, 5));
  }
  EXPECT_EQ(log.text, "routing;range;default;range;");
  EXPECT_EQ(config->labelRangeDefault("static"), LabelRange(16, 5));
}

/// Every registered entity type that a name can make is made, and every value of it can be written
/// and read back by name.
TEST(RegistrationTest, EveryEntityTypeIsUsableByName) {
  Forma::TypeRegistry registry;
  registerEntityTypes(registry);
  const auto dir = Forma::dirFactory("dir");
  std::size_t made = 0;
  for (const auto& [name, type] : registry.entities()) {
    Forma::Ptr<Forma::Entity> entity;
    if (type->make) ++made, entity = dir->newEntity(registry, name, Forma::Name(name));
    for (const Forma::MemberType& member : type->members) {
      if (!member.keyType.empty()) registry.value(member.keyType);
      if (!entity || member.kind != Forma::MemberKind::values) continue;
      const Forma::AnyValue key = registry.newValue(member.keyType);
      const Forma::AnyValue value = registry.newValue(member.valueType);
      member.put(*entity, key.data(), value.data());
      const void* const found = member.find(*entity, key.data());
      EXPECT_TRUE(found && value.type().equal(found, value.data())) << name << member.name;
      member.erase(*entity, key.data());
      EXPECT_EQ(member.size(*entity), 0U) << name << member.name;
    }
  }
  EXPECT_GE(made, 9U);
}

}  // namespace
}  // namespace Mpls
