/// What mplsctl verifies, counts and follows of the running system, and the ring traces it shows.
#include <map>
#include <set>
#include <sstream>

#include "platform/ringtrace/RingTrace.h"
#include "tests/agents/Data.h"
#include "tests/agents/system/System.h"

namespace {

using namespace AgentTest;

class CtlVerifyTest : public System {
 protected:
  void SetUp() override {
    folder.write("static", "mpls lsp 100 10.0.0.1 200\nmpls lsp 101 10.0.0.2 200\n");
    Fs::create_directories(folder / "run/trace");
    Fs::copy(sourceRoot() / "agents/sr-agent/samples/r1", folder / "r1");
    replay("r1");
    startAll({"lfib-writer", "centrum", "mpls-agent", "static"});
    members["lfib-writer"]->awaitError("in line with the merged routes routes=2");
  }
  /// Leaves the segment-routing tables of that instance behind.
  void replay(const std::string& instance) const {
    Program agent(folder, "sr-agent", {"--once", "--instance", instance, "--run", "run", "r1"});
    EXPECT_EQ(agent.end(), 0) << agent.errors();
  }
  Result ctl(Arguments arguments) const {
    arguments.insert(arguments.end(), {"--run", "run", "--timeout", "20"});
    return run("mplsctl", arguments);
  }
  static std::set<std::string> membersOf(const Json& records, const char* key) {
    std::set<std::string> all;
    for (const Json& one : records) all.insert(one.at(key));
    return all;
  }
  /// Reads events up to the first of which the key has these members.
  static Json await(Program& watch, const std::string& op, const Json& key) {
    for (std::string line = watch.line(); !line.empty(); line = watch.line()) {
      Json event = Json::parse(line);
      Json merged = event.value("key", Json::object());
      merged.update(key);
      if (event.at("op") == op && merged == event.value("key", Json::object())) return event;
    }
    ADD_FAILURE() << "no " << op << " of " << key << ": " << watch.errors();
    return {};
  }
};

TEST_F(CtlVerifyTest, SoundStatePassesAndDamageIsNamed) {
  const Result sound = ctl({"verify"});
  EXPECT_EQ(sound.code, 0) << sound.output << sound.errors;
  EXPECT_EQ(sound.output.find("FAIL"), std::string::npos) << sound.output;
  EXPECT_NE(sound.output.find(" pass, 0 fail, 0 skipped\n"), std::string::npos) << sound.output;
  const Json checks = Json::parse(ctl({"-j", "verify"}).output).at("records");
  EXPECT_EQ(membersOf(checks, "check"),
            (std::set<std::string>{"layout", "references", "homogeneity", "unreferenced", "merged",
                                   "extra", "overlap", "grid", "range"}));
  for (const char* const place : {"run/sr/r1/v4Route", "run/lfib/sr-r1/viaSet"})
    EXPECT_TRUE(membersOf(checks, "place").contains(place)) << checks;

  killAll({"lfib-writer"});
  const auto merged = start("mplsctl", {"route", "watch", "--timeout", "20"});
  merged->awaitError("watching 2 routes");
  folder.replace(
      "static",
      "mpls lsp 100 10.0.0.9 200\nmpls lsp 102 10.0.0.2 200\nmpls lsp 103 10.0.0.2 200\n");
  for (int changes = 0; changes < 4; ++changes) EXPECT_FALSE(merged->line().empty());
  const Json apart = Json::parse(ctl({"route", "verify", "-j"}).output).at("records");
  ASSERT_EQ(apart.size(), 2U) << apart;
  EXPECT_EQ(apart[0].at("count"), 3) << "100 has another via, 102 and 103 are missing" << apart;
  ASSERT_EQ(apart[1].at("count"), 1) << apart;
  EXPECT_EQ(apart[1].at("findings")[0].at("text"),
            "label 101 metric 100: in the LFIB, but not merged");
  EXPECT_EQ(ctl({"route", "verify"}).code, 1);
  for (const auto& file : Fs::directory_iterator(folder / "run/lfib/static")) {
    const std::string path = "run/lfib/static/" + file.path().filename().string();
    if (path.find("/lfibRoute.") == std::string::npos || path.find(".seg") == std::string::npos)
      continue;
    std::string bytes = folder.read(path);
    for (std::size_t i = 64; i < bytes.size(); i += 16) bytes[i] = static_cast<char>(~bytes[i]);
    folder.replace(path, bytes);
  }
  EXPECT_EQ(ctl({"lfib", "get", "101"}).code, 4) << "its row is damaged, not absent";
  folder.replace("run/lfib/static/viaSet.head", std::string(4096, 'x'));
  const Result damaged = run("mplsctl", {"verify", "--run", "run", "--timeout", "0"});
  EXPECT_EQ(damaged.code, 4);
  EXPECT_NE(damaged.output.find("FAIL    layout        run/lfib/static/viaSet"), std::string::npos)
      << damaged.output;
}

TEST_F(CtlVerifyTest, StatCountsAndTellsRates) {
  const auto stat = start("mplsctl", {"stat", "-j", "--interval", "0.05", "--times", "2", "--run",
                                      "run", "--filter", "table=lfibRoute"});
  const std::string lines = stat->rest();
  EXPECT_EQ(stat->end(), 0) << stat->errors();
  std::map<std::string, std::vector<Json>> looks;  // by directory
  std::istringstream in(lines);
  for (std::string line; std::getline(in, line);) {
    const Json one = Json::parse(line);
    looks[one.at("directory")].push_back(one);
  }
  ASSERT_EQ(looks.size(), 2U) << lines;
  const std::vector<Json>& own = looks.at("run/lfib/static");
  ASSERT_EQ(own.size(), 2U);
  EXPECT_EQ(own[0].at("rows"), 2);
  EXPECT_FALSE(own[0].contains("changesPerSecond"));
  EXPECT_EQ(own[1].at("changesPerSecond"), 0);
  EXPECT_LT(own[0].at("time"), own[1].at("time"));
  EXPECT_EQ(membersOf(Json::parse(ctl({"stat", "-j"}).output).at("records"), "kind"),
            (std::set<std::string>{"table", "labels", "database"}));
}

TEST_F(CtlVerifyTest, WatchesTellWhatCameChangedAndWent) {
  const auto watch = [this](const std::string& object) {
    return start("mplsctl", {object, "watch", "-j", "--interval", "0.05", "--run", "run"});
  };
  const auto sr = watch("sr"), table = watch("table"), db = watch("db");
  const auto people =
      start("mplsctl", {"db", "watch", "--interval", "0.05", "--filter", "kind=client"});
  for (Program* const one : {sr.get(), table.get(), db.get()}) await(*one, "sync", Json::object());
  people->awaitError("watching ");

  replay("other");
  const Json block = await(*sr, "added", {{"directory", (folder / "run/sr/other").string()}});
  EXPECT_FALSE(block.contains("old")) << block;
  await(*table, "added", {{"table", "v4Route"}, {"directory", "run/sr/other"}});
  folder.replace("static", "mpls lsp 100 10.0.0.1 200\n");
  const Json rows =
      await(*table, "changed", {{"table", "lfibRoute"}, {"directory", "run/lfib/static"}});
  EXPECT_EQ(rows.at("old").at("rows"), 2);
  EXPECT_EQ(rows.at("new").at("rows"), 1);
  folder.write("more", "");
  members["more"] = startInput("more");
  const Json client{{"name", "static-route-agent"}, {"pid", members["more"]->pid()}};
  await(*db, "added", client);
  const std::string name = "client static-route-agent " + client.at("pid").dump();
  while (people->line().find("added: " + name) == std::string::npos) {
  }
  killAll({"more"});
  await(*db, "removed", client);
  while (people->line() != "removed: " + name) {
  }
  killAll({"centrum"});
  const Json lost = Json::parse(db->awaitError("connection lost"));
  EXPECT_EQ(lost.at("info").at("text").get<std::string>().find("connection lost"), 0U) << lost;
  for (Program* const one : {sr.get(), table.get(), db.get()}) EXPECT_EQ(one->end(SIGINT), 130);
}

TEST_F(CtlVerifyTest, RingTracesAreShownOfTheLivingAndTheDead) {
  RingTrace::fileIs(folder / "run/trace/test.ring");
  for (const char* const text : {"one", "two", "three"}) RingTrace::record(text);
  const Json own =
      Json::parse(ctl({"trace", "show", "-j", "--agent", "test", "--last", "2"}).output);
  EXPECT_TRUE(own.at("alive").get<bool>());
  ASSERT_EQ(own.at("records").size(), 2U) << own;
  EXPECT_EQ(own.at("records")[1].at("text"), "three");
  EXPECT_EQ(ctl({"trace", "show", "run/trace/test.ring", "--filter", "text=two", "--count"}).output,
            "1\n");
  const auto follow = start("mplsctl", {"trace", "show", "--follow", "run/trace/test.ring"});
  EXPECT_NE(follow->line().find("one"), std::string::npos);
  RingTrace::record("four");
  while (follow->line().find("four") == std::string::npos) {
  }
  EXPECT_EQ(follow->end(SIGTERM), 143);

  killAll({"lfib-writer"});
  const Result dead = ctl({"trace", "show", "--agent", "lfib-writer"});
  EXPECT_EQ(dead.code, 0);
  EXPECT_NE(dead.output.find("which is gone"), std::string::npos) << dead.output;
  const Result absent = ctl({"trace", "show", "--agent", "nobody"});
  EXPECT_EQ(absent.code, 3);
  EXPECT_NE(absent.errors.find("run/trace/nobody.ring: cannot be read: "), std::string::npos);
  folder.write("none", std::string(300, 'x'));
  const Result none = ctl({"trace", "show", "-j", "none"});
  EXPECT_EQ(none.code, 4);
  EXPECT_EQ(Json::parse(none.errors).at("error").at("file"), "none") << none.errors;
}

}  // namespace
