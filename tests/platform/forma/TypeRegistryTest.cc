#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/platform/forma/TestTypes.h"

namespace FormaTest {
namespace {

using Forma::AnyValue;
using Forma::BytesIn;
using Forma::Entity;
using Forma::MemberType;
using Forma::Name;
using Forma::Ptr;

class TypeRegistryTest : public testing::Test {
 protected:
  TypeRegistryTest() { registerTypes(registry); }
  template <class F>
  static std::string nameError(F f) {
    try {
      f();
    } catch (const Forma::NameException& e) {
      return e.what();
    }
    return "no error";
  }
  AnyValue value(std::string_view type, std::string_view text) const {
    AnyValue v = registry.newValue(type);
    v.textIs(text);
    return v;
  }
  const MemberType& member(std::string_view name) const {
    return *registry.entity("FormaTest::Sub").findMember(name);
  }

  Forma::TypeRegistry registry;
  Ptr<Sub> sub = subFactory("sub");
};

TEST_F(TypeRegistryTest, EveryTypeReadsBackWhatItPrintsAndEncodes) {
  for (const auto& [name, type] : registry.values()) {
    AnyValue made = registry.newValue(name);
    if (name == "FormaTest::Sample") made.fieldIs("high", value("S32", "9"));
    AnyValue fromText = registry.newValue(name), fromWire = registry.newValue(name);
    fromText.textIs(made.text());
    fromWire.wireIs(made.wire());
    EXPECT_TRUE(fromText == made && fromWire == made && fromWire.hash() == made.hash()) << name;
    EXPECT_THROW(fromWire.wireIs(made.wire() + "x"), Forma::ParseException) << name;
    EXPECT_THROW(fromText.textIs(std::string(made.text()) + " "), Forma::ParseException) << name;
    EXPECT_TRUE(fromText == made && fromWire == made) << name;
  }
}

TEST_F(TypeRegistryTest, FieldsByName) {
  AnyValue v = registry.newValue("FormaTest::Sample");
  v.fieldIs("high", value("S32", "3"));
  v.fieldIs("mode", value("FormaTest::Mode", "reverse"));
  EXPECT_EQ(v.field("mode").text(), "reverse");
  AnyValue key = v.field("key");
  key.fieldIs("tag", value("Forma::String8", "'t'"));
  EXPECT_EQ(v.field("key").field("tag").text(), "''");  // copies are deep
  v.fieldIs("key", key);
  EXPECT_EQ(v.field("key").field("tag").text(), "'t'");
  EXPECT_THROW(v.fieldIs("low", value("S32", "4")), Forma::RangeException);
  EXPECT_EQ(v.field("low").text(), "1");
  EXPECT_EQ(nameError([&] { v.field("lo"); }), "no field of FormaTest::Sample is called \"lo\"");
  EXPECT_EQ(nameError([&] { v.fieldIs("low", value("U32", "4")); }),
            "FormaTest::Sample::low is a S32, not a U32");
}

TEST_F(TypeRegistryTest, TypesDescribeThemselves) {
  const Forma::ValueType& sample = registry.value("FormaTest::Sample");
  EXPECT_TRUE(sample.kind == Forma::TypeKind::record && sample.fields.size() == 7);
  EXPECT_TRUE(sample.fields[6].name == "key" && sample.fields[6].type == "FormaTest::Key" &&
              sample.fields[6].index == 6);
  const Forma::ValueType& mode = registry.value("FormaTest::Mode");
  EXPECT_TRUE(mode.kind == Forma::TypeKind::enumeration && mode.members.size() == 3);
  EXPECT_TRUE(mode.members[2].name == "reverse" && mode.members[2].number == -1);
  EXPECT_EQ(registry.value("U8").kind, Forma::TypeKind::scalar);
  EXPECT_EQ(member("link").valueType, "FormaTest::Item");
  EXPECT_EQ(member("rank").keyType, "U32");
  EXPECT_TRUE(!registry.findValue("Sample") && !registry.findEntity("FormaTest::Sample"));
  EXPECT_EQ(nameError([&] { registry.newValue("U9"); }), "no value type is called \"U9\"");
  EXPECT_EQ(nameError([&] { registry.entity("X"); }), "no entity type is called \"X\"");
}

TEST_F(TypeRegistryTest, ValuesAreWrittenThroughTheAccessors) {
  struct : Sub::NotifieeConst {
    void onCount() override { ++heard; }
    void onRank(const std::uint32_t&) override { ++heard; }
    int heard = 0;
  } listener;
  listener.notifierIs(sub);
  const std::int32_t five = 5;
  const std::uint32_t key = 2;
  for (int i = 0; i < 2; ++i) {  // the second time in silence
    member("count").put(*sub, nullptr, &five);
    member("rank").put(*sub, &key, &five);
  }
  EXPECT_TRUE(sub->count() == 5 && sub->rank(2) == 5 && listener.heard == 2);
  EXPECT_EQ(*static_cast<const std::int32_t*>(member("rank").find(*sub, &key)), 5);
  member("rank").erase(*sub, &key);
  member("rank").erase(*sub, &key);
  EXPECT_TRUE(!member("rank").find(*sub, &key) && !member("rank").size(*sub));
  EXPECT_EQ(listener.heard, 3);
  EXPECT_TRUE(!member("count").erase && !member("item").put && !member("rank").create);
}

TEST_F(TypeRegistryTest, ReferencesTakeElementsOfTheirTypeOnly) {
  const std::uint32_t key = 1;
  const Ptr<Entity const> item = itemFactory(Key(1), 1), null, other = nodeFactory("n");
  member("link").put(*sub, &key, &item);
  EXPECT_EQ(sub->linkFind(1), item.get());
  EXPECT_THROW(member("link").put(*sub, &key, &null), Forma::NullException);
  EXPECT_EQ(nameError([&] { member("link").put(*sub, &key, &other); }),
            "\"n\" is a FormaTest::Node, not a FormaTest::Item");
  EXPECT_EQ(member("link").find(*sub, &key), item.get());
}

TEST_F(TypeRegistryTest, ChildrenAreMadeAgainFromTheirArguments) {
  const auto copy = [&](const MemberType& of, const Entity& child, const void* key, Sub& into) {
    std::string arguments;
    of.encodeArguments(child, arguments);
    BytesIn in(arguments);
    const Ptr<Entity> again = of.create(into, key, in);
    EXPECT_TRUE(in.atEnd() && again->parent() == &into);
    return again;
  };
  const Ptr<Sub> replica = subFactory("replica");
  const Key key(4, "x"), otherKey(5);
  const std::uint32_t number = 7;
  const Ptr<Item> item = sub->newItem(key, std::uint8_t{9});
  const auto made = copy(member("item"), *item, &key, *replica);
  EXPECT_TRUE(made == replica->item(key) && replica->item(key)->weight() == item->weight());
  EXPECT_EQ(copy(member("item"), *item, &key, *replica), made);
  const auto port = copy(member("port"), *sub->newPort(7), &number, *replica);
  EXPECT_EQ(port, replica->port(7));
  const auto extra = copy(member("extra"), *sub->newExtra("box"), nullptr, *replica);
  EXPECT_TRUE(extra == replica->extra() && extra->name() == "box");
  EXPECT_THROW(copy(member("item"), *item, &otherKey, *replica), Forma::ParseException);
  BytesIn nothing("");
  EXPECT_THROW(member("item").create(*replica, &otherKey, nothing), Forma::ParseException);
  EXPECT_EQ(replica->items(), 1U);
  member("extra").erase(*replica, nullptr);
  EXPECT_FALSE(replica->extra());
}

TEST_F(TypeRegistryTest, WalksSurviveWhatTheVisitorDoes) {
  for (const std::uint32_t k : {3U, 1U, 2U}) {
    sub->newRank(k, 1);
    sub->newScore(k, 1);
    sub->newItem(Key(static_cast<std::uint16_t>(k)));
  }
  std::map<std::string_view, std::vector<std::uint32_t>> seen;
  for (const std::string_view name : {"rank", "score"})
    member(name).each(*sub, [&](const void* key, const void*) {
      const std::uint32_t k = *static_cast<const std::uint32_t*>(key);
      seen[name].push_back(k);
      member(name).erase(*sub, &k);
    });
  EXPECT_EQ(seen["rank"], (std::vector<std::uint32_t>{1, 2, 3}));
  EXPECT_TRUE(seen["score"].size() == 3 && !sub->ranks() && !sub->scores());
  const MemberType& items = member("item");
  int visits = 0;
  items.each(*sub, [&](const void*, const void*) {
    sub = nullptr;
    ++visits;
  });
  EXPECT_EQ(visits, 3);
}

TEST_F(TypeRegistryTest, DirectoriesMakeChildrenByTypeName) {
  const Ptr<Forma::Dir> root = Forma::dirFactory("root");
  const auto made = root->newEntity(registry, "FormaTest::Sub", "a");
  EXPECT_TRUE(Forma::ptrCast<Sub>(made) && made->fullName() == "root/a");
  EXPECT_EQ(root->newEntity(registry, "FormaTest::Sub", "a"), made);
  const auto error = [&](std::string_view type, const char* name) {
    return nameError([&] { root->newEntity(registry, type, name); });
  };
  EXPECT_EQ(error("FormaTest::Node", "a"), "\"root/a\" is a FormaTest::Sub, not a FormaTest::Node");
  EXPECT_EQ(error("FormaTest::Item", "b"), "FormaTest::Item cannot be made from a name alone");
  EXPECT_EQ(error("No", "b"), "no entity type is called \"No\"");
  EXPECT_EQ(root->entrys(), 1U);
  const MemberType& entry = *root->formaType().findMember("entry");
  const Name name("a");
  EXPECT_EQ(entry.find(*root, &name), made.get());
  entry.each(*root, [&](const void* key, const void* v) {
    EXPECT_TRUE(*static_cast<const Name*>(key) == name && v == made.get());
    entry.erase(*root, key);
  });
  EXPECT_TRUE(!entry.size(*root) && made->isDeleted());
}

}  // namespace
}  // namespace FormaTest
