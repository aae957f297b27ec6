#include "platform/forma/Trace.h"

#include <vector>

#include "tests/platform/forma/TestTypes.h"
#include "tests/support/Checks.h"

namespace {

using Forma::traceLevelsIs;

/// Counts how often it is turned into text.
struct Counted {
  mutable int printed = 0;
};
void formaPrint(std::string& out, const Counted& v) {
  ++v.printed;
  out.append("counted");
}

class TraceTest : public testing::Test {
 protected:
  ~TraceTest() override {
    Forma::traceSinkIs({});
    traceLevelsIs("");
  }
  std::string levels() const {
    return std::to_string(merge.level()) + std::to_string(mergeSm.level()) +
           std::to_string(other.level());
  }
  Forma::TraceHandle merge{"Merge"}, mergeSm{"MergeSm"}, other{"Other"};
};

TEST_F(TraceTest, TheMostSpecificItemSetsTheLevel) {
  const std::vector<std::pair<const char*, const char*>> settings = {
      {"Merge/8,*/1", "811"}, {"*/1,Merge*/2,Merge/3", "321"}, {"Merge/3,Merge*/2,*/1", "321"},
      {"MergeSm", "090"},     {"Merge/1,Merge/2", "200"},      {"", "000"},
      {"Merge*", "990"}};
  for (const auto& [setting, expected] : settings) {
    traceLevelsIs(setting);
    EXPECT_EQ(levels(), expected) << setting;
  }
  EXPECT_EQ(Forma::TraceHandle("MergeLate").level(), 9);
}

TEST_F(TraceTest, MalformedSettingsChangeNothing) {
  const auto error = [](const char* setting) {
    return Checks::raised<Forma::ParseException>([&] { traceLevelsIs(setting); });
  };
  traceLevelsIs("Merge/4");
  for (const char* setting : {",", "Merge,", "/3", "*/1,,Merge", ",Merge/1"})
    EXPECT_EQ(error(setting), "expected a trace source such as RouteConfigMergeSm/8") << setting;
  EXPECT_EQ(error("*/1,Merge/x"), "expected a number at position 0 of \"x\"");
  EXPECT_EQ(error("Merge/1x"), "expected a comma or the end at position 1 of \"1x\"");
  EXPECT_EQ(levels(), "400");
}

TEST_F(TraceTest, OnlyEnabledMessagesAreBuilt) {
  std::string message;
  Forma::traceSinkIs([&](const Forma::TraceMessage& m) {
    message += Forma::traceText(m.source, "/", m.level, " ", m.file, " ", m.function, ": ", m.text);
  });
  const Counted counted;
  traceLevelsIs("Merge/4");
  FORMA_TRACE(merge, 5, "off ", counted);
  FORMA_TRACE(other, 1, "off ", counted);
  FORMA_TRACE(merge, 4, "on ", counted, " ", Forma::Name("na'me"), " ", 7, " ", true);
  EXPECT_EQ(counted.printed, 1);
  EXPECT_EQ(message, "Merge/4 TraceTest.cc TestBody: on counted na'me 7 true");
}

TEST_F(TraceTest, WithoutASinkLinesGoToStderr) {
  traceLevelsIs("Merge/1");
  testing::internal::CaptureStderr();
  const int line = __LINE__ + 1;
  FORMA_TRACE(merge, 1, "text");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Merge:" + std::to_string(line) + " TestBody: text\n");
}

}  // namespace
