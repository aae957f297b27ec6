/// What mplsctl tells of the label manager and its clients.
#include "tests/agents/system/System.h"

namespace {

using namespace AgentTest;

class LabelCtlTest : public System {
 protected:
  void SetUp() override {
    folder.write("static", "");
    startAll({"centrum"});
  }
  void startManager() {
    members["static"] = start("static-route-agent",
                              {"--input", "static", "--file", "static", "--mpls-routing", "on"});
    startAll({"mpls-agent"});
    members["mpls-agent"]->awaitError(" givenBefore=0 kept=0");
  }
  void client(const std::string& name, const std::string& ids) {
    members[name] = start("label-client", {"--name", name, "--ids", ids});
  }
  /// For how long the only request that waits does.
  double wait() const {
    const Json waiting = recordsOf(show({"label", "show"}), "waiting");
    EXPECT_EQ(waiting.size(), 1U) << waiting;
    EXPECT_EQ(waiting.at(0).at("client"), "c");
    return waiting.at(0).value("seconds", -1.0);
  }
  Json counts(const std::string& base, const std::string& size) const {
    return show({"label", "plan", base, size}).at("counts");
  }
  static Json fates(int keeps, int moves, int loses, int gains, int waits) {
    return {
        {"keeps", keeps}, {"moves", moves}, {"loses", loses}, {"gains", gains}, {"waits", waits}};
  }
};

TEST_F(LabelCtlTest, TellsWhoHoldsWhatWhoWaitsAndWhatARangeWouldChange) {
  startManager();
  const auto watch = start("mplsctl", {"label", "watch", "--timeout", "60"});
  watch->awaitError("watching 0 blocks, 0 requests that wait");
  client("a", "1,2,3,4,5,6,7,8,9,10");
  members["a"]->awaitError("holds all blocks held=10 wanted=10");
  client("b", "1,2,3,4,5,6");
  for (int granted = 0; granted < 16;)  // the range may be new to it as well
    granted += watch->line().starts_with("granted: client ") ? 1 : 0;
  client("c", "x");
  EXPECT_EQ(watch->line(), "waits: client c ID x");

  const Json shown = show({"label", "show"});
  EXPECT_EQ(shown.at("range"), (Json{{"base", 100000}, {"size", 262144}, {"blocks", 16}}));
  std::map<int, int> firstOf;
  for (const Json& one : recordsOf(shown, "block")) firstOf[one.at("block")] = one.at("first");
  EXPECT_EQ(firstOf.size(), 16U);
  for (const auto& [block, first] : firstOf) EXPECT_EQ(first, 100000 + 16384 * block);
  const double before = wait();
  EXPECT_GE(before, 0);
  killAll({"mpls-agent"});
  startAll({"mpls-agent"});
  members["mpls-agent"]->awaitError(" givenBefore=16 kept=16");
  EXPECT_GT(wait(), before) << "a restart is no new wait";
  const Result text = run("mplsctl", {"label", "show"});
  EXPECT_NE(text.output.find("base 100000 size 262144, 16 blocks\nBlocks given: 16\n"),
            std::string::npos)
      << text.output;
  EXPECT_NE(text.output.find("Requests that wait: 1\n"), std::string::npos) << text.output;

  EXPECT_EQ(counts("100000", "131072"), fates(8, 0, 8, 0, 1));
  EXPECT_EQ(counts("0", "1048576"), fates(0, 16, 0, 1, 0));
  EXPECT_EQ(counts("0", "0"), fates(16, 0, 0, 0, 1)) << "the default range is in force";
  EXPECT_EQ(counts("100000", "278528"), fates(16, 0, 0, 1, 0));
  EXPECT_EQ(run("mplsctl", {"label", "plan", "1048575", "2"}).code, 2);
  EXPECT_EQ(run("mplsctl", {"label", "plan", "5"}).code, 2);
  EXPECT_EQ(counts("100000", "262144"), fates(16, 0, 0, 0, 1)) << "nothing was changed";

  folder.replace("static", "mpls label dynamic-block 100000 378527\n");
  EXPECT_EQ(watch->line(), "range: base 100000 size 278528, 17 blocks");
  EXPECT_EQ(watch->line(), "granted: client c ID x labels 362144-378527");
  EXPECT_EQ(members["c"]->end(SIGTERM), 0);
  EXPECT_EQ(watch->line(), "withdrawn: client c ID x labels 362144-378527");
  killAll({"a"});
  EXPECT_NE(run("mplsctl", {"label", "show"}).output.find("labelRequest/a: label-client (pid "),
            std::string::npos);
  EXPECT_EQ(watch->end(SIGTERM), 143);
  EXPECT_EQ(watch->rest(), "");
}

}  // namespace
