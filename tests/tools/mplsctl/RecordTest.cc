/// Records: what tables and JSON make of them, which are chosen, and in what order.
#include "tools/mplsctl/Record.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>

#include "agents/common/Printable.h"
#include "tools/mplsctl/RecordJson.h"
#include "tools/mplsctl/RecordTable.h"
#include "tools/mplsctl/Selection.h"

namespace {

using namespace MplsCtl;
using Json = nlohmann::ordered_json;

constexpr Column itemColumns[] = {
    {"hop", "HOP"}, {"stack", "STACK", Kind::numbers}, {"hidden", "", Kind::number}};
std::span<const Column> itemColumnsOf() { return itemColumns; }
constexpr Column columns[] = {{"id", "ID", Kind::number},
                              {"name", "NAME"},
                              {"items", "", Kind::records, itemColumnsOf},
                              {"up", "UP", Kind::flag},
                              {"age", "AGE", Kind::seconds},
                              {"tags", "TAGS", Kind::texts}};
constexpr RecordType type{"thing", columns, 2};

/// A thing as JSON has it; made into a record by fill(). What is to be escaped stands anywhere in
/// short and in long names.
Json thing(std::mt19937& random) {
  static const std::string odd[]{"\"", "\\", "\t", "\x7f", "\xc3\xa9", "\x01", " ~!#[]^\x20", ""};
  const auto below = [&random](unsigned n) { return static_cast<unsigned>(random() % n); };
  std::vector<std::string> names{"", "a", "b \"q\"", "tab\there", "\xc3\xa9", "z\\"};
  names[2 + below(3)] =
      std::string(below(36), 'x') + odd[below(8)] + std::string(below(12), 'y') + "z";
  Json one = {{"id", below(50)}, {"name", names[below(6)]}, {"items", Json::array()}};
  for (unsigned i = below(4); i > 0; --i) {
    Json item = Json::object();
    if (below(3) != 0) item["hop"] = names[1 + below(5)];
    item["stack"] = Json::array();
    for (unsigned j = below(3); j > 0; --j) item["stack"].push_back(below(9));
    item["hidden"] = i;
    one["items"].push_back(item);
  }
  if (below(2) != 0) one["up"] = below(2) == 0;
  if (below(2) != 0) one["age"] = below(100) / 4.0;
  one["tags"] = Json::array();
  for (unsigned j = below(3); j > 0; --j) one["tags"].push_back(names[1 + below(5)]);
  return one;
}

void addList(Record& record, const Json& list) {
  record.listBegin();
  for (const Json& one : list) {
    if (one.is_string()) record.element(std::string_view(one.get_ref<const std::string&>()));
    else record.element(one.get<std::uint64_t>());
  }
  record.listEnd();
}

void fill(Record& record, const Json& one) {
  record.clear();
  record.number(one.at("id")).text(one.at("name").get_ref<const std::string&>());
  record.recordsBegin();
  for (const Json& item : one.at("items")) {
    record.textOrNone(item.value("hop", ""));
    addList(record, item.at("stack"));
    record.number(item.at("hidden"));
  }
  if (one.at("items").empty()) record.remark("no items").none().none();  // for people only
  record.recordsEnd();
  if (one.contains("up")) record.flag(one.at("up"));
  else record.none();
  if (one.contains("age")) record.seconds(one.at("age"));
  else record.none();
  addList(record, one.at("tags"));
}

bool has(const Json& one, const Filter& filter) {
  const auto isIt = [&](const Json& value) {
    return (value.is_string() ? value.get<std::string>() : value.dump()) == filter.value;
  };
  const auto isItIn = [&](const Json& object) {
    if (!object.contains(filter.key)) return false;
    const Json& value = object.at(filter.key);
    return value.is_array() ? std::ranges::any_of(value, isIt) : isIt(value);
  };
  return isItIn(one) || std::ranges::any_of(one.at("items"), isItIn);
}

/// Whatever the records are: JSON gives them back in both forms, tables have no byte that is not
/// printable, filters choose as a search in that JSON does, and sorting orders them as one by their
/// values.
TEST(RecordTest, JsonFiltersAndSortingAgreeWithAModel) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  std::vector<Json> things;
  RecordList list;
  Record record(type);
  for (int i = 0; i < 300; ++i) {
    things.push_back(thing(random));
    fill(record, things.back());
    list.add(record.view());
  }
  const std::vector<Filter> filters{{"id", "7"},    {"name", ""},    {"hop", "a"},   {"stack", "3"},
                                    {"up", "true"}, {"tags", "z\\"}, {"hidden", "2"}};
  for (std::size_t i = 0; i < things.size(); ++i) {
    for (const bool pretty : {false, true}) {
      Text text;
      appendJson(text, list[i], "", {pretty});
      ASSERT_EQ(Json::parse(text.view()), things[i]) << text.view();
      ASSERT_EQ(text.view().find('\n') != std::string::npos, pretty);
    }
    Text shown;
    RecordTable table(shown, type, false);
    table.add(list[i]);
    table.end();
    const std::string name = Agents::printable(things[i].at("name").get<std::string>());
    ASSERT_NE(shown.view().find("  " + (name.empty() ? "-" : name) + "  "), std::string::npos);
    ASSERT_TRUE(std::ranges::all_of(shown.view(),
                                    [](char c) { return c == '\n' || (c >= 0x20 && c < 0x7f); }));
    for (const Filter& filter : filters)
      ASSERT_EQ(isWanted(list[i], {filter}), has(things[i], filter)) << things[i] << filter.key;
    ASSERT_EQ(isNamed(list[i], {"7", "a"}), things[i].at("id") == 7 && things[i].at("name") == "a");
  }
  for (const bool descending : {false, true})
    for (const std::string key : {"id", "age", "name"}) {
      std::vector<std::size_t> model(things.size());
      for (std::size_t i = 0; i < model.size(); ++i) model[i] = i;
      std::ranges::stable_sort(model, [&](std::size_t a, std::size_t b) {
        const bool hasA = things[a].contains(key), hasB = things[b].contains(key);
        if (!hasA || !hasB) return hasA && !hasB;
        return descending ? things[b].at(key) < things[a].at(key)
                          : things[a].at(key) < things[b].at(key);
      });
      EXPECT_EQ(sorted(list, key, descending), model) << key << descending;
    }
}

/// Each line of a table has its cells at the same places, however many there are; what is wider
/// than all before widens the column from there.
TEST(RecordTest, TablesAreAlignedAndShowRemarksAndColours) {
  Text out;
  RecordTable table(out, type, false);
  Record record(type);
  fill(record, Json::parse(R"({"id": 1, "name": "a\tb", "items": [{"hop": "x", "stack": [1, 2],
      "hidden": 1}, {"stack": [], "hidden": 2}], "up": true, "age": 3.25, "tags": ["p", "q"]})"));
  table.add(record.view());
  fill(record, Json::parse(R"({"id": 22, "name": "", "items": [], "tags": []})"));
  table.add(record.view());
  EXPECT_EQ(out.view(), "") << "widths are not known yet";
  table.end();
  EXPECT_EQ(out.view(),
            "ID  NAME    HOP       STACK  UP   AGE    TAGS\n"
            "1   a\\x09b  x         1/2    yes  3.2 s  p, q\n"
            "1   a\\x09b  -         -      yes  3.2 s  p, q\n"
            "22  -       no items  -      -    -      -\n");
  out.clear();
  for (int i = 0; i < 2; ++i) table.add(record.view());
  EXPECT_EQ(out.view().find("22  -       no items"), 0U) << out.view();
  out.clear();
  RecordTable coloured(out, type, true);
  coloured.add(record.view());
  coloured.end();
  EXPECT_EQ(out.view().find("\x1b[1mID"), 0U) << out.view();
  EXPECT_NE(out.view().find("\x1b[31mno items\x1b[0m"), std::string::npos) << out.view();
}

}  // namespace
