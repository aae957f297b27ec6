/// Agents, server and mplsctl together, whatever is started, killed and started again.
#include "tests/agents/system/System.h"

#include <algorithm>
#include <random>

namespace {

using namespace AgentTest;

class SystemTest : public System {
 protected:
  void SetUp() override {
    folder.write("static", "mpls lsp 100 10.0.0.1 200\nmpls lsp 300 10.0.0.1 310\n");
    folder.write("te", te(1000));
    folder.write("fabric", R"([{"LABEL_ROUTE_TABLE:400": {"ifname": "a,b"}, "OP": "SET"}])");
  }
  /// Claims 300 as well, and has one route of its own.
  static std::string te(int label) {
    return "ip -f mpls route add 300 dev eth0\nip -f mpls route add " + std::to_string(label) +
           " as 210 via inet 10.0.0.9 dev eth0\n";
  }
  void stopAll() {
    for (auto& [name, member] : members) EXPECT_EQ(member->end(SIGTERM), 0) << name;
  }

  const Arguments everybody{"centrum", "mpls-agent", "static", "te", "fabric"};
};

/// In each round some are killed in some order, and started in another. Nobody is told anything but
/// the one change that follows: had anything been withdrawn and come back, it would come first.
TEST_F(SystemTest, NobodyHearsOfKillsWhateverTheirOrder) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  Arguments names = everybody;
  std::ranges::shuffle(names, random);
  startAll(names);
  const auto watch = start("mplsctl", {"route", "watch", "--timeout", "60"});
  watch->awaitError("watching ");
  while (routes() != Arguments{"100 static", "400 fabric", "1000 te"}) {
  }
  folder.replace("te", te(1001));
  while (watch->line().find("removed: label 1000 ") != 0) {  // it may have begun half-way
  }
  EXPECT_EQ(watch->line(), "added: label 1001 metric 100 from te: via 10.0.0.9 swap 210 dev eth0");
  for (int round = 1; round <= 12; ++round) {
    std::ranges::shuffle(names, random);
    const Arguments some(names.begin(), names.begin() + 1 + round % 5);
    SCOPED_TRACE("round " + std::to_string(round) + " kills " + testing::PrintToString(some));
    const bool inFlight = round % 2 == 1;  // the change is on its way when they are killed
    if (inFlight) folder.replace("te", te(1001 + round));
    killAll(some);
    Arguments again = some;
    std::ranges::shuffle(again, random);
    startAll(again);
    if (!inFlight) {
      EXPECT_EQ(routes(),
                (Arguments{"100 static", "400 fabric", std::to_string(1000 + round) + " te"}));
      folder.replace("te", te(1001 + round));
    }
    EXPECT_EQ(watch->line(), "removed: label " + std::to_string(1000 + round) +
                                 " metric 100 from te: via 10.0.0.9 swap 210 dev eth0");
    EXPECT_EQ(watch->line(), "added: label " + std::to_string(1001 + round) +
                                 " metric 100 from te: via 10.0.0.9 swap 210 dev eth0");
  }
  EXPECT_EQ(watch->end(SIGINT), 130);
  EXPECT_EQ(watch->rest(), "");
  for (auto& [name, member] : members)  // the last ones may have no ear for signals yet
    member->awaitError(name == "centrum" ? ": listening " : " centrum");
  stopAll();
}

/// Without a log, those who live fill the database again.
TEST_F(SystemTest, AServerThatForgotEverythingIsFilledAgain) {
  startAll({"mpls-agent", "static", "te", "fabric"});
  members["mpls-agent"]->awaitError("waiting for centrum: No such file or directory socket=socket");
  for (int round = 0; round < 3; ++round) {
    auto server = start("centrum", {"--no-log"});
    while (routes() != Arguments{"100 static", "400 fabric", "1000 te"}) {
    }
    EXPECT_EQ(server->end(SIGKILL), -SIGKILL);
    members["mpls-agent"]->awaitError("connection lost: ");
  }
  stopAll();
}

TEST_F(SystemTest, APathHasOneOwnerAndStaysWhenItGoes) {
  startAll(everybody);
  members["te"]->awaitError("publishes routes=2 path=routing/mpls/route/input/dynamic/te");
  const auto holder = "static-route-agent (pid " + std::to_string(members["te"]->pid()) + ", uid ";
  const Result second = run("static-route-agent", {"--input", "te", "--file", "te"});
  EXPECT_EQ(second.code, 3);
  EXPECT_NE(second.errors.find("static-route-agent: refused: "), std::string::npos)
      << second.errors;
  EXPECT_NE(second.errors.find(holder), std::string::npos) << second.errors;

  killAll({"te"});
  while (routes() != Arguments{"100 static", "400 fabric", "1000 te"}) {
  }
  const Result text = run("mplsctl", {"route", "show"});
  EXPECT_NE(text.output.find("input/dynamic/te: " + holder), std::string::npos) << text.output;
  EXPECT_NE(text.output.find(" s: routes as last published\n"), std::string::npos) << text.output;
  EXPECT_EQ(run("static-route-agent", {"--input", "te", "--withdraw"}).code, 0);
  while (routes() != Arguments{"100 static", "300 static", "400 fabric"}) {
  }
  folder.write("half", "mpls lsp 500 10.0.0.1 200\nmpls lsp x\n");
  const Result half = run("static-route-agent", {"--input", "te", "--file", "half", "--once"});
  EXPECT_EQ(half.code, 1);
  EXPECT_NE(half.errors.find("half:2:10: expected an incoming label"), std::string::npos);
  while (routes().back() != "500 te") {
  }
  folder.write("half", "[{]");  // not understood: what is published stays
  EXPECT_EQ(run("static-route-agent", {"--input", "te", "--file", "half", "--once"}).code, 1);
  EXPECT_EQ(routes().back(), "500 te");
  Fs::remove(folder / "fabric");
  members["fabric"]->awaitError("fabric: the file is gone, its routes are withdrawn");
  while (routes() != Arguments{"100 static", "300 static", "500 te"}) {
  }
  stopAll();
}

/// The table as lists of cells, from the line that begins with `heading`.
std::vector<std::vector<std::string>> cellsOf(const std::string& text, const std::string& heading) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream in(text.substr(text.find(heading)));
  for (std::string line; std::getline(in, line) && !line.empty();) {
    auto& row = rows.emplace_back();
    for (std::size_t at = 0; at < line.size();) {
      const std::size_t end = std::min(line.find("  ", at), line.size());
      row.push_back(line.substr(at, end - at));
      at = std::min(line.find_first_not_of(' ', end), line.size());
    }
  }
  rows.erase(rows.begin());
  return rows;
}

std::string cell(const Json& json, const char* name) {
  if (!json.contains(name)) return "-";
  return json.at(name).is_string() ? json.at(name).get<std::string>() : json.at(name).dump();
}

TEST_F(SystemTest, TablesAndJsonSayTheSame) {
  startAll(everybody);
  while (routes() != Arguments{"100 static", "400 fabric", "1000 te"}) {
  }
  std::vector<std::vector<std::string>> expected;
  const Json shownRoutes = show({"route", "show"});
  for (const Json& route : shownRoutes.at("records"))
    for (const Json& via : route.at("vias"))
      expected.push_back({cell(route, "label"), cell(route, "metric"), cell(via, "nextHop"),
                          cell(via, "operation"), cell(via, "outLabel"), cell(via, "interface"),
                          cell(via, "weight"), cell(route, "source")});
  EXPECT_EQ(expected.size(), 4u);
  EXPECT_EQ(cellsOf(run("mplsctl", {"route", "show"}).output, "LABEL"), expected);

  const Json conflicts = show({"route", "conflicts"});
  EXPECT_EQ(conflicts.at("records"),
            Json::parse(R"([{"label": 300, "metric": 100, "sources": ["static", "te"]}])"));
  EXPECT_EQ(conflicts.at("publishers").size(), 4u);
  EXPECT_EQ(cellsOf(run("mplsctl", {"route", "conflicts"}).output, "LABEL"),
            (std::vector<std::vector<std::string>>{{"300", "100", "static, te"}}));

  expected.clear();
  for (const Json& path : recordsOf(show({"db", "show"}), "path"))
    if (cell(path, "path").find("routing/mpls/") == 0)
      expected.push_back({cell(path, "path"), cell(path, "type"), cell(path, "cells"),
                          cell(path, "bytes"), cell(path, "owner")});
  std::vector<std::vector<std::string>> shown;
  const std::string database = run("mplsctl", {"db", "show"}).output;
  for (const auto& row : cellsOf(database, "PATH"))
    if (row.at(0).find("routing/mpls/") == 0)
      shown.push_back({row.at(0), row.at(1), row.at(3), row.at(4), row.at(6)});
  EXPECT_EQ(shown, expected);
  EXPECT_EQ(shown.size(), 11u) << database;
  std::set<std::string> clients;
  for (const auto& row : cellsOf(database, "CLIENT")) clients.insert(row.at(0) + row.at(1));
  EXPECT_TRUE(clients.contains("mpls-agent" + std::to_string(members["mpls-agent"]->pid())));
  EXPECT_EQ(clients.size(), 5u) << database;
  stopAll();
}

TEST_F(SystemTest, EachExitCodeHasItsReason) {
  const std::vector<std::pair<std::string, Arguments>> wrong{
      {"mpls-agent", {"--unknown"}},
      {"mpls-agent", {"--trace", "/"}},
      {"mpls-agent", {"--ring-file", "absent/ring"}},
      {"mpls-agent", {"--socket", ""}},
      {"mpls-agent", {"--socket", std::string(200, 'x')}},
      {"static-route-agent", {}},
      {"static-route-agent", {"--input", ""}},
      {"static-route-agent", {"--input", "a/b"}},
      {"static-route-agent", {"--input", "te", "--file", "absent"}},
      {"static-route-agent", {"--input", "te", "--file", "te", "--metric", "256"}},
      {"static-route-agent", {"--input", "te", "--file", "te", "--withdraw"}},
      {"static-route-agent", {"--input", "te", "--mpls-routing", "on"}},
      {"static-route-agent", {"--input", "static", "--mpls-routing", "maybe"}},
      {"lfib-writer", {"--mode", "0888"}},
      {"lfib-writer", {"--lfib", ""}},
      {"lfib-writer", {"--lfib", "static"}},
      {"lfib-writer", {"--lfib", "static/below"}},
      {"lfib-writer", {"--run", "run", "--owner", "nobody-of-that-name"}},
      {"mplsctl", {}},
      {"mplsctl", {"lfib", "get"}},
      {"mplsctl", {"lfib", "get", "1048576"}},
      {"mplsctl", {"lfib", "get", "16", "256"}},
      {"mplsctl", {"lfib", "watch", "16"}},
      {"mplsctl", {"route"}},
      {"mplsctl", {"route", "show", "--timeout", "-1"}},
  };
  for (const auto& [name, arguments] : wrong) {
    Program program(folder, name, arguments);
    EXPECT_NE(program.errors(), "") << name << testing::PrintToString(arguments);
    EXPECT_EQ(program.end(), 2) << name << testing::PrintToString(arguments);
  }
  for (const Arguments& command :
       {Arguments{"route", "show"}, {"route", "watch"}, {"db", "show"}}) {
    Arguments arguments = command;
    arguments.insert(arguments.end(), {"--timeout", "0.05"});
    const Result away = run("mplsctl", arguments);
    EXPECT_EQ(away.code, 3);
    EXPECT_NE(away.errors.find("no centrum at socket: No such file or directory; start it"),
              std::string::npos)
        << away.errors;
  }
  startAll({"centrum", "mpls-agent"});
  members["mpls-agent"]->awaitError("waits for a path path=routing/mpls/route/input/static");
  const Result early = run("mplsctl", {"route", "conflicts", "--timeout", "0.5"});
  EXPECT_EQ(early.code, 3);
  EXPECT_EQ(early.errors,
            "mplsctl: routing/mpls/route/config: nobody has created it; start mpls-agent\n"
            "mplsctl: routing/mpls/route/input/static: nobody has created it; start "
            "static-route-agent --input static\n");
  EXPECT_EQ(run("mplsctl", {"--version"}).output,
            "mplsctl " MPLS_VERSION "\nAPI " MPLS_VERSION
            "\ntable layout 1\nreplication protocol 1\nJSON shape 2\n");
  stopAll();
}

/// Neither the agent nor its connection suffers from a log that goes nowhere.
TEST_F(SystemTest, ALogThatCannotBeWrittenStopsNobody) {
  startAll({"centrum", "mpls-agent", "te"});
  int label = 100;
  for (const char* log : {"2>&-", "2>/dev/full", "<&- >&- 2>&-"}) {
    folder.write("static", "mpls lsp " + std::to_string(++label) + " 10.0.0.1 200\n");
    const std::string command = "cd " + folder.path().string() + " && " +
                                Program::path("static-route-agent") +
                                " --socket socket --input static --once --mpls-routing on"
                                " --file static " +
                                log;
    EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 0) << command;
    while (routes().front() != std::to_string(label) + " static") {
    }
  }
  const std::string full = Program::path("mplsctl") + " route show --socket " +
                           (folder / "socket").string() + " >/dev/full 2>&1";
  EXPECT_EQ(WEXITSTATUS(std::system(full.c_str())), 2);
  stopAll();
}

}  // namespace
