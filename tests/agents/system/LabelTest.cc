/// The label manager and its clients in processes of their own: who holds what, whatever is killed,
/// changed or damaged.
#include <array>
#include <cstdlib>
#include <functional>
#include <random>
#include <set>

#include "agents/common/Paths.h"
#include "agents/common/Program.h"
#include "mpls/entities/ApiStatus.h"
#include "mpls/entities/Config.h"
#include "mpls/labelmgr/ClientLabelRequest.h"
#include "mpls/labelmgr/DynamicRange.h"
#include "tests/agents/system/System.h"

namespace {

using namespace AgentTest;

constexpr double patience = 60;
constexpr const char* sixIds = "1,2,3,4,5,6";
using Holdings = std::map<std::string, std::uint32_t>;  // the first label, by "CLIENT/ID"

/// A member of the database inside of the test, which looks at the published blocks at the end of
/// each turn: no two are the same, and all are such as the published range has.
class Peer {
 public:
  explicit Peer(const Folder& folder) : program_(options(folder), Agents::Program::Kind::query) {}
  ~Peer() { program_.loop().turnEndDel(turnEnd_); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  template <class T>
  Forma::Ptr<T> mount(const std::string& path, const std::string& mode) {
    bool done = false;
    program_.mount({{path, T::formaTypeName, mode}}, [&] { done = true; });
    await([&] { return done; });
    return program_.entity<T>(path);
  }
  /// Begins to look. Without `strict`, what is wrong is no failure.
  void watch(bool strict = true) {
    status_ = mount<Mpls::Api::Status>(Agents::apiStatusPath, "r");
    look();
    turnEnd_ = program_.loop().turnEndIs([this, strict] {
      look();
      EXPECT_TRUE(isSound() || !strict) << problem_;
    });
  }
  const Holdings& blocks() const { return blocks_; }
  bool isSound() const { return problem_.empty(); }
  void await(const std::function<bool()>& done) {
    program_.loop().post([] {});  // what the test changed is sent at the end of a turn
    EXPECT_TRUE(program_.await(done, patience)) << testing::PrintToString(blocks_);
  }
  void send() {
    await([this] { return program_.manager()->allSent(); });
  }
  void turn() { program_.loop().runOnce(0.001); }

 private:
  static Agents::CommonOptions options(const Folder& folder) {
    Agents::CommonOptions options;
    options.name = "test";
    options.socket = (folder / "socket").string();
    return options;
  }
  void look() {
    blocks_.clear();
    problem_.clear();
    std::set<std::uint32_t> starts;
    for (const auto& one : status_->labelBlockAllocationIteratorConst())
      for (const auto& held : one.value->blockIteratorConst()) {
        const std::string name = std::string(one.key) + "/" + std::string(held.key);
        const std::uint32_t start = held.value.blockStart().value();
        blocks_[name] = start;
        const Mpls::DynamicRange range(status_->dynamicLabelRange());
        if (!starts.insert(start).second || !range.issues(held.value))
          problem_ = name + " holds " + std::to_string(start);
      }
  }

  Agents::Program program_;
  Forma::Ptr<Mpls::Api::Status> status_;
  Holdings blocks_;
  std::string problem_;
  std::uint64_t turnEnd_ = 0;
};

/// A label-client, and what its lines say that it holds.
struct Client {
  std::string name;
  std::unique_ptr<Program> program;
  Holdings held;

  void step() {
    const Json event = program->json();
    const std::string id = name + "/" + event.at("id").get<std::string>();
    const std::string kind = event.at("event");
    const std::uint32_t first = event.at("first");
    EXPECT_EQ(event.at("last"), first + Mpls::LabelBlock::blockSize - 1);
    ASSERT_EQ(held.contains(id), kind != "granted") << event;
    if (kind != "granted") {
      EXPECT_EQ(held.at(id), kind == "moved" ? event.at("from").at("first") : event.at("first"));
    }
    if (kind == "withdrawn") held.erase(id);
    else held[id] = first;
  }
  void steps(int count) {
    while (count-- > 0) step();
  }
};

class LabelTest : public System {
 protected:
  void SetUp() override {
    seed_ = std::random_device()();
    random_.seed(seed_);
    folder.write("static", "");
    startAll({"centrum"});
    members["static"] = start("static-route-agent",
                              {"--input", "static", "--file", "static", "--mpls-routing", "on"});
    startManager();
  }
  void startManager() {
    members["mpls-agent"] = start("mpls-agent", {});
    members["mpls-agent"]->awaitError(" givenBefore=");
  }
  void killManager() { killAll({"mpls-agent"}); }
  void rangeIs(std::uint32_t base, std::uint32_t size) const {
    folder.replace("static", "mpls label dynamic-block " + std::to_string(base) + " " +
                                 std::to_string(base + size - 1) + "\n");
  }
  Client client(const std::string& name, const std::string& ids) const {
    return {name, start("label-client", {"--name", name, "--ids", ids, "--json"}), {}};
  }
  std::uint32_t below(std::uint32_t end) {
    return std::uniform_int_distribution<std::uint32_t>(0, end - 1)(random_);
  }
  static Holdings of(const Holdings& all, const std::string& client) {
    Holdings some;
    for (const auto& one : all)
      if (one.first.starts_with(client + "/")) some.insert(one);
    return some;
  }

  unsigned seed_ = 0;
  std::mt19937 random_;
};

TEST_F(LabelTest, TheSeventeenthWaitsAndEverythingSurvivesAKillOfTheManager) {
  Peer peer(folder);
  peer.watch();
  std::vector<Client> clients;
  clients.push_back(client("a", sixIds));
  clients.push_back(client("b", "1,2,3,4,5"));
  clients.push_back(client("c", "1,2,3,4,5"));
  for (Client& one : clients) one.steps(one.name == "a" ? 6 : 5);
  peer.await([&] { return peer.blocks().size() == 16; });
  const Holdings full = peer.blocks();
  Client last = client("d", "x");
  last.program->awaitError("waits for blocks held=0 wanted=1");
  EXPECT_EQ(run("label-client", {"--name", "d", "--ids", "y"}).code, 3);

  killManager();
  EXPECT_EQ(clients[1].program->end(SIGTERM), 0);  // while nobody is there to hear of it
  EXPECT_EQ(clients[2].program->end(SIGKILL), -SIGKILL);
  startManager();
  last.step();
  std::set<std::uint32_t> returned;
  for (const auto& one : of(full, "b")) returned.insert(one.second);
  EXPECT_TRUE(returned.contains(last.held.at("d/x")));
  Client more = client("e", sixIds);
  more.steps(4);
  more.program->awaitError("waits for blocks held=4 wanted=6");
  EXPECT_EQ(last.program->end(SIGTERM), 0);
  more.step();  // when the number had its rest, with no other event
  EXPECT_EQ(run("label-client", {"--name", "c", "--withdraw"}).code, 0);
  more.step();
  EXPECT_EQ(of(full, "a"), clients[0].held);
  peer.await([&] { return peer.blocks().size() == 12; });
  EXPECT_EQ(of(peer.blocks(), "a"), clients[0].held);
  EXPECT_EQ(of(peer.blocks(), "e"), more.held);
  EXPECT_EQ(clients[0].program->end(SIGTERM), 0);
  EXPECT_EQ(clients[0].program->rest(), "") << "a was told of its six blocks, and of nothing else";
}

/// Bases and sizes change while more wait than are served, and clients and manager are killed.
TEST_F(LabelTest, EveryClientEndsWithAValidBlockOrAVisibleWait) {
  SCOPED_TRACE("seed " + std::to_string(seed_));
  Peer peer(folder);
  peer.watch();
  std::vector<Client> clients;
  for (const char* name : {"a", "b", "c", "d", "e", "f"}) clients.push_back(client(name, sixIds));
  std::uint32_t base = 100000;
  for (int round = 0; round < 8; ++round) {
    base += 5000 + below(40000);
    rangeIs(base, 16384 * (10 + below(7)) + below(16384));
    for (std::uint32_t turns = below(50); turns > 0; --turns) peer.turn();
    for (Client& one : clients) {
      if (below(3) != 0) continue;
      const bool orderly = below(2) == 0;
      if (orderly) one.program->awaitError("asks for blocks blocks=6 ");
      EXPECT_EQ(one.program->end(orderly ? SIGTERM : SIGKILL), orderly ? 0 : -SIGKILL);
      one = client(one.name, sixIds);
    }
    if (below(2) == 0) {
      killManager();
      startManager();
    }
  }
  for (Client& one : clients) one.program->awaitError("asks for blocks blocks=6 ");
  rangeIs(base + 1, 262144);
  peer.await([&] {
    return peer.blocks().size() == 16 && (peer.blocks().begin()->second - base) % 16384 == 1;
  });
  const Holdings end = peer.blocks();
  for (Client& one : clients) {
    while (one.held != of(end, one.name)) one.step();
    if (one.held.size() < 6)
      one.program->awaitError("waits for blocks held=" + std::to_string(one.held.size()) +
                              " wanted=6");
  }
}

/// Killed at any moment after requests came and went; between drawing a number and publishing the
/// block, too. MPLS_LABEL_KILLS says how often.
TEST_F(LabelTest, KillsOfTheManagerMoveDoubleAndLoseNothing) {
  const char* const given = std::getenv("MPLS_LABEL_KILLS");
  const int kills = given != nullptr ? std::atoi(given) : 20;
  SCOPED_TRACE("seed " + std::to_string(seed_));
  rangeIs(0, 63 * 16384);  // there is always room
  Peer peer(folder);
  peer.watch();
  std::map<std::string, Forma::Ptr<Mpls::ClientLabelRequest>> clients;
  for (const char* name : {"a", "b", "c", "mark"})
    clients[name] = peer.mount<Mpls::ClientLabelRequest>(Agents::labelRequestPath(name), "w");
  std::set<std::string> wanted;
  Holdings settled;
  for (int round = 0; round < kills; ++round) {
    for (int change = 0; change < 4; ++change) {
      const std::string client(1, static_cast<char>('a' + below(3)));
      const std::string id = std::to_string(below(4));
      settled.erase(client + "/" + id);
      if (wanted.erase(client + "/" + id) != 0) {
        clients.at(client)->labelRequestDel(Forma::String8(id));
      } else {
        wanted.insert(client + "/" + id);
        clients.at(client)->labelRequestIs(Mpls::LabelRequest(Forma::String8(id)));
      }
      if (below(2) == 0) peer.turn();
    }
    killManager();
    startManager();
    // A request that was withdrawn and made again may look settled before the manager has heard of
    // either. What is asked for last is answered last.
    const std::string mark = std::to_string(round);
    clients.at("mark")->labelRequestDelAll();
    clients.at("mark")->labelRequestIs(Mpls::LabelRequest(Forma::String8(mark)));
    peer.await([&] {
      std::set<std::string> held;
      for (const auto& one : peer.blocks()) held.insert(one.first);
      return held.erase("mark/" + mark) != 0 && held == wanted;
    });
    for (const auto& [name, start] : settled)
      ASSERT_EQ(peer.blocks().at(name), start) << name << ", round " << round;
    settled = peer.blocks();
    settled.erase("mark/" + mark);
  }
}

/// A damaged block is no reason to keep any; the trace says which one it was.
TEST_F(LabelTest, ADamagedBlockMakesTheManagerReissueAll) {
  Client one = client("a", "1,2,3");
  one.steps(3);
  for (const std::size_t damage : {0U, 1U, 2U}) {
    SCOPED_TRACE(damage);
    killManager();
    const std::array<std::uint32_t, 3> starts{one.held.at("a/2") + 1, one.held.at("a/1"), 83616};
    EXPECT_EQ(run("label-damage", {"a", "2", std::to_string(starts.at(damage))}).code, 0);
    auto& manager = members["mpls-agent"] = start("mpls-agent", {"--trace", "LabelManagerSm/1"});
    manager->awaitError(damage == 1 ? " error: idx already used for clienta, idx: "
                                    : " Centrum status is inconsistent for clienta, idx: ");
    Peer peer(folder);
    peer.watch(false);
    peer.await([&] { return peer.blocks().size() == 3 && peer.isSound(); });
    while (one.held != peer.blocks()) one.step();
  }
  EXPECT_EQ(run("label-damage", {"a", "2", "1"}).code, 3) << "the manager owns it";
}

/// What others put where the manager looks is told, and ends nothing.
TEST_F(LabelTest, NoInputEndsTheManager) {
  EXPECT_EQ(members["static"]->end(SIGTERM), 0);
  Client one = client("a", "1");
  one.step();
  Peer peer(folder);
  peer.watch();
  Program& manager = *members["mpls-agent"];
  peer.mount<Mpls::Config>(Agents::labelRequestPath("odd"), "w");
  peer.send();
  EXPECT_NE(manager.awaitError(": refused: ").find("labelRequest/odd"), std::string::npos);
  const std::string longName(3000, 'n');
  const auto requests =
      peer.mount<Mpls::ClientLabelRequest>(Agents::labelRequestPath(longName), "w");
  for (const std::string& id : {std::string(), std::string(100000, 'i'), std::string("\xff/\n")})
    requests->newLabelRequest(Mpls::LabelRequest(Forma::String8(id)));
  peer.await([&] { return peer.blocks().size() == 4; });
  const auto config = peer.mount<Mpls::Config>(Agents::configPath, "w");
  config->labelRangeIs("dynamic", Mpls::LabelRange());
  config->mplsRoutingIs(true);
  peer.send();
  manager.awaitError("goes on after an exception: LabelRange::base > ");
  for (const Mpls::LabelRange range : {Mpls::LabelRange(5, 0), Mpls::LabelRange(0, 16383),
                                       Mpls::LabelRange(1048575, 1), Mpls::LabelRange()}) {
    config->labelRangeIs("dynamic", range);
    peer.send();
  }
  config->labelRangeIs("dynamic", Mpls::LabelRange(0, 1048576));
  peer.await([&] { return peer.blocks().size() == 4 && peer.blocks().at("a/1") % 16384 == 0; });
  config->mplsRoutingIs(false);
  peer.await([&] { return peer.blocks().empty(); });
  EXPECT_EQ(manager.end(SIGTERM), 0);

  const std::vector<std::pair<std::string, Arguments>> wrong = {
      {"label-client", {"--name", "a"}},
      {"label-client", {"--name", "a/b", "--ids", "1"}},
      {"label-client", {"--name", "a", "--ids", ""}},
      {"label-client", {"--name", "a", "--ids", "1", "--withdraw"}},
      {"static-route-agent", {"--input", "te", "--label-range", "1:2"}},
      {"static-route-agent", {"--input", "static", "--label-range", "1:1048576"}},
      {"static-route-agent", {"--input", "static", "--label-range", "1-2"}},
  };
  for (const auto& [name, arguments] : wrong)
    EXPECT_EQ(run(name, arguments).code, 2) << testing::PrintToString(arguments);
}

}  // namespace
