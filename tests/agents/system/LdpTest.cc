/// LDP agents and the readers of their tables: recorded routers, lost peers, kills, damage.
#include "tests/agents/Data.h"
#include "tests/agents/system/System.h"

namespace {

using namespace AgentTest;

const Fs::path samples = sourceRoot() / "agents/ldp-agent/samples";

/// Neighbour 1 of the sample, and that one of the other recordings, is lost.
const std::string lost = R"({"Protocol": {"NbrKaTimeout": {"nbr_id": 1}}})"
                         "\n";

class LdpTest : public System {
 protected:
  using Strings = std::vector<std::string>;

  /// A copy of a recorded router, under its name.
  std::string copyOf(const Fs::path& recording) const {
    const std::string name = recording.filename().string();
    Fs::copy(recording, folder / name, Fs::copy_options::recursive);
    for (const auto& one : Fs::recursive_directory_iterator(folder / name))
      Fs::permissions(one.path(), Fs::perms::owner_write, Fs::perm_options::add);
    return name;
  }
  void append(const std::string& file, const std::string& text) const {
    std::ofstream(folder / file, std::ios::app) << text;
  }
  std::unique_ptr<Program> startAgent(const std::string& name, Arguments more = {}) const {
    more.insert(more.begin(), {"--router", name, "--run", "run-" + name, "--instance", name});
    return start("ldp-agent", more);
  }
  static Arguments ctl(const std::string& what, const std::string& name, Arguments more = {}) {
    Arguments all{"ldp", what};
    all.insert(all.end(), more.begin(), more.end());
    all.insert(all.end(), {"--run", "run-" + name, "--instance", name, "--timeout", "30"});
    return all;
  }
  Result verify(const std::string& name) const {
    return run("mplsctl", ctl("verify", name, {name + "/output/northbound-state.json"}));
  }
  Json shown(const std::string& name) const {
    const Result result = run("mplsctl", ctl("show", name, {"--json"}));
    EXPECT_EQ(result.code, 0) << result.errors;
    return Json::parse(result.output);
  }
  /// "INTERFACE" for each link that is ready.
  Strings readyLinks(const std::string& name) const {
    Strings all;
    const Json json = shown(name);
    for (const Json& one : recordsOf(json, "link"))
      if (one.at("ready").get<bool>()) all.push_back(one.at("interface"));
    return all;
  }
  static Strings lines(Program& watch, std::size_t count) {
    Strings all;
    while (all.size() < count) all.push_back(watch.line());
    return all;
  }
};

TEST_F(LdpTest, ReadersHaveWhatTheRoutersKnowAndAPeerTakesItsOwnAlong) {
  startAll({"centrum"});
  Strings names{copyOf(samples / "west"), copyOf(samples / "east")};
  if (Fs::exists(sharedData("holo-ldp")))
    for (const char* const name : {"rt1", "rt2", "rt3", "rt4"})
      names.push_back(copyOf(sharedData("holo-ldp") / name));
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    members[name] = startAgent(name);
    members[name]->awaitError(" messages=");
    const Result result = verify(name);
    EXPECT_EQ(result.code, 0) << result.output << result.errors;
    EXPECT_EQ(result.output.find("equal: "), 0U) << result.output;
  }
  while (readyLinks("west") != Strings{"to-east", "to-north"}) {
  }
  const Json before = shown("west");
  const auto watch = start("mplsctl", ctl("watch", "west"));
  watch->awaitError("/run-west/ldp-west, writer ldp-agent (pid ");
  append("west/events.jsonl", lost);
  Strings told = lines(*watch, 8);
  EXPECT_EQ(std::erase(told, "link not ready: to-east"), 1U) << "it comes by another way";
  EXPECT_EQ(told, (Strings{"advertised removed: 192.0.2.1/32 to 192.0.2.2:0",
                           "advertised removed: 192.0.2.2/32 to 192.0.2.2:0",
                           "advertised removed: 192.0.2.3/32 to 192.0.2.2:0",
                           "advertised removed: 203.0.113.0/24 to 192.0.2.2:0",
                           "peer removed: 192.0.2.2:0 192.0.2.1/32 label 24",
                           "peer removed: 192.0.2.2:0 192.0.2.2/32 label implicit-null",
                           "peer removed: 192.0.2.2:0 192.0.2.3/32 label 25"}));
  const Json after = shown("west");
  EXPECT_EQ(recordsOf(after, "peer").size(), 3U);
  EXPECT_EQ(readyLinks("west"), Strings{"to-north"});
  const auto bare = [](Json all) {
    for (Json& one : all) one.erase("advertisedTo");
    return all;
  };
  EXPECT_EQ(bare(recordsOf(after, "local")), bare(recordsOf(before, "local")));
  const Json lfib = show({"lfib", "show", "--run", "run-west", "--sort", "label"}).at("records");
  ASSERT_EQ(lfib.size(), 2U) << "that over the peer is gone";
  EXPECT_EQ(lfib[0].at("label"), 17);
  const Result differs = verify("west");
  EXPECT_EQ(differs.code, 1);
  EXPECT_NE(differs.output.find("missing: peer 192.0.2.2:0 192.0.2.3/32 label 25\n"),
            std::string::npos);
  EXPECT_NE(differs.output.find("differences: 7\n"), std::string::npos) << differs.output;

  append("west/events.jsonl", "{\"Protocol\": 1}\n");
  members["west"]->awaitError("west/events.jsonl:30: /Protocol: expected an object");
  const Result wrong = run("ldp-agent", {"--router", "west", "--run", "run-other"});
  EXPECT_EQ(wrong.code, 2) << "a line that is wrong at start";
  EXPECT_EQ(startAgent("west")->end(), 2) << "there is one that writes";
  EXPECT_EQ(watch->end(SIGINT), 130);
  EXPECT_EQ(watch->rest(), "");
  for (const std::string& name : names) EXPECT_EQ(members[name]->end(SIGTERM), 0) << name;
}

/// Between any two messages: what the next one finds stale goes, and readers hear of nothing else.
TEST_F(LdpTest, AKilledWriterIsFollowedByOneThatTellsTheDifference) {
  copyOf(samples / "west");
  members["west"] = startAgent("west", {"--until", "40"});
  members["west"]->awaitError(" messages=40 ");
  const auto watch = start("mplsctl", ctl("watch", "west"));
  watch->awaitError("watching ");
  EXPECT_EQ(members["west"]->end(SIGKILL), -SIGKILL);
  watch->awaitError(": no writer since ");
  const Json kept = shown("west");
  EXPECT_FALSE(kept.at("writer").at("present").get<bool>());
  EXPECT_FALSE(recordsOf(kept, "peer").empty());
  members["west"] = startAgent("west", {"--until", "40"});
  members["west"]->awaitError(" messages=40 ");
  EXPECT_EQ(recordsOf(shown("west"), "peer"), recordsOf(kept, "peer"));

  EXPECT_EQ(members["west"]->end(SIGKILL), -SIGKILL);
  members["west"] = startAgent("west", {"--pace", "1000"});
  members["west"]->awaitError(" messages=67 ");  // at once, as there were rows
  EXPECT_EQ(verify("west").code, 0);
  EXPECT_EQ(members["west"]->end(SIGKILL), -SIGKILL);
  append("west/output/protocol.jsonl",
         R"({"NbrTxPdu": {"nbr_id": 2, "msg": {"Label": {"msg_type": "LabelMapping", "fec":
            [{"Prefix": "10.9.0.0/16"}], "label": 99}}}})"
         "\n");
  const std::string sent = folder.read("west/output/protocol.jsonl");
  folder.replace("west/output/protocol.jsonl",
                 std::string(sent).replace(sent.find("\n            [{"), 13, " "));
  members["west"] = startAgent("west");
  std::string line;
  while (line != "local added: 10.9.0.0/16 label 99") {  // what came before is not of that writer
    ASSERT_NE(line = watch->line(), "");
    EXPECT_EQ(line.find("removed: 192.0.2.1/32"), std::string::npos) << line;
  }
  EXPECT_EQ(watch->line(), "advertised added: 10.9.0.0/16 to 192.0.2.3:0");
  EXPECT_EQ(watch->end(SIGINT), 130);
  EXPECT_EQ(watch->rest(), "");
}

TEST_F(LdpTest, ADamagedTableIsReportedAndTheReaderLives) {
  copyOf(samples / "west");
  members["west"] = startAgent("west");
  members["west"]->awaitError(" messages=");
  const auto watch = start("mplsctl", ctl("watch", "west"));
  watch->awaitError("watching ");
  EXPECT_EQ(members["west"]->end(SIGTERM), 0);
  for (const auto& one : Fs::directory_iterator(folder / "run-west/ldp-west")) {
    const std::string name = one.path().filename().string();
    if (!name.starts_with("peerLbt.") || !name.ends_with(".seg0")) continue;
    std::fstream(one.path(), std::ios::in | std::ios::out).seekp(100).write("\xff\xff", 2);
  }
  const Result damaged = run("mplsctl", ctl("show", "west", {"--json"}));
  EXPECT_EQ(damaged.code, 4);
  EXPECT_NE(damaged.errors.find("peerLbt"), std::string::npos) << damaged.errors;
  const Json left = Json::parse(damaged.output);
  EXPECT_EQ(recordsOf(left, "peer").size(), 5U) << "the row reads as absent, the others are there";
  EXPECT_EQ(recordsOf(left, "local").size(), 4U);
  EXPECT_EQ(verify("west").code, 4);

  members["west"] = startAgent("west");
  members["west"]->awaitError(" messages=");
  EXPECT_EQ(verify("west").code, 0) << "written again";
  append("west/events.jsonl", lost);
  while (watch->line() != "peer removed: 192.0.2.2:0 192.0.2.3/32 label 25") {
  }
  EXPECT_EQ(watch->end(SIGINT), 130);
  EXPECT_EQ(members["west"]->end(SIGTERM), 0);
}

}  // namespace
