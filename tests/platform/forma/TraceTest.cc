#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/forma/Errors.h"
#include "platform/forma/Trace.h"

namespace TraceTestTypes {
/// Counts how often it is turned into text.
struct Counted {
  mutable int printed = 0;
};
void formaPrint(std::string& out, const Counted& v) {
  ++v.printed;
  out.append("counted");
}
}  // namespace TraceTestTypes

namespace {

using Forma::traceLevelsIs;

class TraceTest : public testing::Test {
 protected:
  TraceTest() {
    Forma::traceSinkIs([this](const Forma::TraceMessage& m) {
      messages.push_back(std::string(m.source) + "/" + std::to_string(m.level) + " " +
                         std::string(m.file) + " " + std::string(m.function) + ": " +
                         std::string(m.text));
    });
  }
  ~TraceTest() override {
    Forma::traceSinkIs({});
    traceLevelsIs("");
  }
  std::string levels(std::string_view setting) {
    traceLevelsIs(setting);
    return std::to_string(merge.level()) + std::to_string(mergeSm.level()) +
           std::to_string(other.level());
  }
  static std::string error(std::string_view setting) {
    try {
      traceLevelsIs(setting);
    } catch (const Forma::ParseException& e) {
      return e.what();
    }
    return "no error";
  }
  Forma::TraceHandle merge{"Merge"}, mergeSm{"MergeSm"}, other{"Other"};
  std::vector<std::string> messages;
};

TEST_F(TraceTest, TheMostSpecificItemSetsTheLevel) {
  EXPECT_EQ(levels("Merge/8,*/1"), "811");
  EXPECT_EQ(levels("*/1,Merge*/2,Merge/3"), "321");
  EXPECT_EQ(levels("Merge/3,Merge*/2,*/1"), "321");
  EXPECT_EQ(levels("MergeSm"), "090");
  EXPECT_EQ(levels("Merge/1,Merge/2"), "200");
  EXPECT_EQ(levels("Merge*"), "990");
  const Forma::TraceHandle late("MergeLate");
  EXPECT_EQ(late.level(), 9);
  EXPECT_EQ(levels(""), "000");
}

TEST_F(TraceTest, MalformedSettingsChangeNothing) {
  const std::string expected = "expected a trace source such as RouteConfigMergeSm/8";
  EXPECT_EQ(levels("Merge/4"), "400");
  for (const char* setting : {",", "Merge,", "/3", "*/1,,Merge", ",Merge/1"})
    EXPECT_EQ(error(setting), expected) << setting;
  EXPECT_EQ(error("*/1,Merge/x"), "expected a number at position 0 of \"x\"");
  EXPECT_EQ(error("Merge/1x"), "expected a comma or the end at position 1 of \"1x\"");
  EXPECT_EQ(merge.level(), 4);
}

TEST_F(TraceTest, OnlyEnabledMessagesAreBuilt) {
  const TraceTestTypes::Counted counted;
  traceLevelsIs("Merge/4");
  FORMA_TRACE(merge, 5, "off ", counted);
  FORMA_TRACE(other, 1, "off ", counted);
  EXPECT_EQ(counted.printed, 0);
  EXPECT_TRUE(messages.empty());
  FORMA_TRACE(merge, 4, "on ", counted, " ", Forma::Name("na'me"), " ", 7, " ", true);
  EXPECT_EQ(counted.printed, 1);
  EXPECT_EQ(messages,
            (std::vector<std::string>{"Merge/4 TraceTest.cc TestBody: on counted na'me 7 true"}));
}

TEST_F(TraceTest, WithoutASinkLinesGoToStderr) {
  Forma::traceSinkIs({});
  traceLevelsIs("Merge/1");
  testing::internal::CaptureStderr();
  const int line = __LINE__ + 1;
  FORMA_TRACE(merge, 1, "text");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Merge:" + std::to_string(line) + " TestBody: text\n");
}

}  // namespace
