#include "tests/platform/forma/TestTypes.h"
#include "tests/support/Checks.h"

namespace FormaTest {
namespace {

using Forma::AnyValue;
using Forma::BytesIn;
using Forma::Entity;
using Forma::MemberType;
using Forma::Ptr;

template <class F>
std::string nameError(F f) {
  return Checks::raised<Forma::NameException>(f);
}

class TypeRegistryTest : public testing::Test {
 protected:
  TypeRegistryTest() { registerTypes(registry); }
  const MemberType& member(std::string_view name) const {
    return *registry.entity("FormaTest::Sub").findMember(name);
  }

  Forma::TypeRegistry registry;
  Ptr<Sub> sub = subFactory("sub");
};

TEST_F(TypeRegistryTest, WrongNamesAndTypesAreRefused) {
  AnyValue v = registry.newValue("FormaTest::Sample");
  EXPECT_EQ(nameError([&] { v.field("lo"); }), "no field of FormaTest::Sample is called \"lo\"");
  EXPECT_EQ(nameError([&] { v.fieldIs("low", registry.newValue("U32")); }),
            "FormaTest::Sample::low is a S32, not a U32");
  EXPECT_EQ(nameError([&] { registry.newValue("U9"); }), "no value type is called \"U9\"");
}

TEST_F(TypeRegistryTest, ReferencesTakeElementsOfTheirTypeOnly) {
  const std::uint32_t key = 1;
  const Ptr<Entity const> item = itemFactory("i", 1), null, other = nodeFactory("n");
  member("link").put(*sub, &key, &item);
  EXPECT_THROW(member("link").put(*sub, &key, &null), Forma::NullException);
  EXPECT_EQ(nameError([&] { member("link").put(*sub, &key, &other); }),
            "\"n\" is a FormaTest::Node, not a FormaTest::Item");
  EXPECT_EQ(sub->link(1), item);
}

TEST_F(TypeRegistryTest, ChildrenAreMadeAgainFromTheirArguments) {
  const Ptr<Sub> replica = subFactory("replica");
  const auto copy = [&](const char* of, const Entity& child, const void* key) {
    std::string arguments;
    member(of).encodeArguments(child, arguments);
    BytesIn in(arguments);
    const Ptr<Entity> again = member(of).create(*replica, key, in);
    EXPECT_TRUE(in.atEnd() && again->parent() == replica.get());
    return again;
  };
  const Forma::Name key("i"), otherKey("j");
  const std::uint32_t number = 7;
  const Ptr<Item> item = sub->newItem(key, std::uint8_t{9});
  const auto made = copy("item", *item, &key);
  EXPECT_TRUE(made == replica->item(key) && replica->item(key)->weight() == 9);
  EXPECT_EQ(copy("item", *item, &key), made);
  const auto port = copy("port", *sub->newPort(7), &number);
  const auto extra = copy("extra", *sub->newExtra("box"), nullptr);
  EXPECT_TRUE(port == replica->port(7) && extra == replica->extra() && extra->name() == "box");
  EXPECT_THROW(copy("item", *item, &otherKey), Forma::ParseException);
  EXPECT_EQ(replica->items(), 1U);
}

TEST_F(TypeRegistryTest, DirectoriesMakeChildrenByTypeName) {
  const Ptr<Forma::Dir> root = Forma::dirFactory("root");
  const auto made = root->newEntity(registry, "FormaTest::Sub", "a");
  EXPECT_EQ(root->newEntity(registry, "FormaTest::Sub", "a"), made);
  const auto error = [&](const char* type, const char* name) {
    return nameError([&] { root->newEntity(registry, type, name); });
  };
  EXPECT_EQ(error("FormaTest::Node", "a"), "\"root/a\" is a FormaTest::Sub, not a FormaTest::Node");
  EXPECT_EQ(error("FormaTest::Item", "b"), "nothing");
  EXPECT_EQ(error("FormaTest::Port", "c"), "FormaTest::Port cannot be made from a name alone");
  EXPECT_EQ(error("No", "c"), "no entity type is called \"No\"");
  EXPECT_TRUE(Forma::ptrCast<Sub>(made) && root->entrys() == 2);
}

}  // namespace
}  // namespace FormaTest
