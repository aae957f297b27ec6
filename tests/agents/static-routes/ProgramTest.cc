/// The program as its users meet it: files in, tables and exit codes out.
#include "agents/common/Version.h"
#include "tests/agents/Program.h"

namespace {

using namespace AgentTest;
using Json = nlohmann::json;

constexpr const char* name = "static-routes";

class ProgramTest : public testing::Test {
 protected:
  /// Runs it to its end.
  int run(const std::vector<std::string>& arguments) {
    Program program(folder, name, arguments);
    output = program.rest();
    const int code = program.end();
    errors = program.errors();
    return code;
  }

  void writeThree() const {
    folder.write("static", "mpls lsp 100 10.0.0.1 200\nmpls lsp 300 10.0.0.1 310\n");
    folder.write("te",
                 "ip -f mpls route add 300 as 320 via inet 10.0.0.9 dev eth0\n"
                 "ip -f mpls route add 110 nexthop via inet6 ::9 dev eth0 weight 3 "
                 "nexthop dev lo\n");
    folder.write("sonic", R"([{"INTF_TABLE:Ethernet8": {"mpls": "disable"}, "OP": "SET"}])");
  }
  const std::vector<std::string> three{"--static", "static",  "--input",
                                       "te=te",    "--input", "so=sonic"};

  Folder folder;
  std::string output;
  std::string errors;
};

TEST_F(ProgramTest, PrintsTheMergedTableAndTheConflicts) {
  writeThree();
  EXPECT_EQ(run(three), 0);
  EXPECT_EQ(output,
            "Merged routes: 2\n"
            "LABEL  METRIC  NEXT HOP  OPERATION  OUT LABEL  INTERFACE  WEIGHT  SOURCE\n"
            "100    100     10.0.0.1  swap       200        -          1       static\n"
            "110    100     -         pop        -          lo         1       te\n"
            "110    100     ::9       pop        -          eth0       3       te\n"
            "\n"
            "Withheld conflicts: 1\n"
            "LABEL  METRIC  CLAIMED BY\n"
            "300    100     static, te\n"
            "\n"
            "MPLS is off on interface Ethernet8\n");
  EXPECT_EQ(errors, "");
}

TEST_F(ProgramTest, PrintsTheSameAsJson) {
  writeThree();
  folder.write("so", "mpls label dynamic-block 100 199\nmpls lsp 1\n");
  auto arguments = three;
  arguments.back() = "so=so";
  arguments.insert(arguments.end(), {"--json", "--metric", "7"});
  EXPECT_EQ(run(arguments), 1);
  EXPECT_EQ(Json::parse(output), Json::parse(R"({
    "routes": [
      {"label": 100, "metric": 7, "source": "static", "vias": [
        {"nextHop": "10.0.0.1", "operation": "swap", "outLabel": 200, "weight": 1}]},
      {"label": 110, "metric": 7, "source": "te", "vias": [
        {"operation": "pop", "interface": "lo", "weight": 1},
        {"nextHop": "::9", "operation": "pop", "interface": "eth0", "weight": 3}]}],
    "conflicts": [{"label": 300, "metric": 7, "sources": ["static", "te"]}],
    "labelRanges": [{"name": "dynamic", "base": 100, "size": 100}],
    "disabledInterfaces": [],
    "errors": [{"file": "so", "line": 2, "column": 10, "text":
        "expected an incoming label from 16 to 1048575, found \"1\""}]})"));
  EXPECT_EQ(errors, "so:2:10: expected an incoming label from 16 to 1048575, found \"1\"\n");
}

TEST_F(ProgramTest, WrongUsageAndUnreadableFilesAreStatus2) {
  folder.write("f", "");
  const std::vector<std::vector<std::string>> wrong{
      {},
      {"--static", "absent"},
      {"--static", "."},
      {"--static", ""},
      {"--static"},
      {"--input", "f"},
      {"--input", "=f"},
      {"--input", "a="},
      {"--input", "a/b=f"},
      {"--input", "static=f"},
      {"--input", "a=f", "--input", "a=f"},
      {"--input", "a=f", "b=f"},
      {"--static", "f", "--metric", "256"},
      {"--static", "f", "--metric", "-1"},
      {"--static", "f", "--trace", "/"},
      {"--static", "f", "--ring-file", "absent/ring"},
      {"--static", "f", "--unknown"},
  };
  for (const auto& arguments : wrong) {
    EXPECT_EQ(run(arguments), 2) << testing::PrintToString(arguments);
    EXPECT_NE(errors, "") << testing::PrintToString(arguments);
  }
  EXPECT_EQ(run({"--static", "absent"}), 2);
  EXPECT_EQ(errors, "static-routes: absent: cannot be read: No such file or directory\n");
  EXPECT_EQ(run({"--static", "f", "--metric", "255", "--ring-file", "ring"}), 0);
  EXPECT_TRUE(Fs::exists(folder / "ring"));
  EXPECT_EQ(run({"--static", "f", "--trace", "RouteConfigMergeSm/8"}), 0);
  EXPECT_NE(errors.find("handleInitialized"), std::string::npos);
  EXPECT_EQ(run({"--help"}), 0);
  EXPECT_NE(output.find("--input NAME=FILE"), std::string::npos);
  EXPECT_EQ(run({"--version"}), 0);
  EXPECT_EQ(output, Agents::versionText("static-routes") + "\n");
}

TEST_F(ProgramTest, NeitherPipesNorAFullDiskHangIt) {
  folder.write("f", "mpls lsp 100 10.0.0.1 200\n");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  Program reader(folder, name, {"--static", "pipe"});
  folder.write("pipe", "mpls lsp 100 10.0.0.1 200\n");
  EXPECT_EQ(reader.line(), "Merged routes: 1");
  EXPECT_EQ(run({"--static", "pipe", "--watch"}), 2);
  EXPECT_EQ(errors, "static-routes: pipe: cannot be read: Operation not supported\n");
  for (const char* last : {"", "--watch", "--help"}) {
    const std::string command = Program::path(name) + " --static " + (folder / "f").string() + " " +
                                last + " >/dev/full 2>&1";
    EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 2) << last;
  }
}

class WatchTest : public ProgramTest {
 protected:
  void SetUp() override {
    writeThree();
    auto arguments = three;
    arguments.insert(arguments.end(), {"--watch", "--json"});
    program = std::make_unique<Program>(folder, name, arguments);
    EXPECT_EQ(program->json().at("event"), "table");
  }
  void expect(const std::string& json) { EXPECT_EQ(program->json(), Json::parse(json)); }

  const std::string added300 = R"({"event": "routeAdded", "label": 300, "metric": 100,
      "source": "static", "vias": [{"nextHop": "10.0.0.1", "operation": "swap", "outLabel": 310,
                                    "weight": 1}]})";
  std::unique_ptr<Program> program;
};

TEST_F(WatchTest, AReplacedFileIsAppliedAsADifference) {
  folder.replace("static", "mpls lsp 100 10.0.0.1 201\nmpls lsp 300 10.0.0.1 310\n");
  expect(R"({"event": "routeChanged", "label": 100, "metric": 100, "source": "static", "vias":
      [{"nextHop": "10.0.0.1", "operation": "swap", "outLabel": 201, "weight": 1}]})");
  folder.write("static", "mpls lsp 300 10.0.0.1 310\n");  // in place
  expect(R"({"event": "routeRemoved", "label": 100, "metric": 100, "source": "static", "vias":
      [{"nextHop": "10.0.0.1", "operation": "swap", "outLabel": 201, "weight": 1}]})");
  folder.replace("sonic", "[]");
  expect(R"({"event": "config", "labelRanges": [], "disabledInterfaces": []})");
  folder.replace("sonic", R"([{"LABEL_ROUTE_TABLE:300": {"ifname": "a"}, "OP": "SET"}])");
  expect(R"({"event": "conflictChanged", "label": 300, "metric": 100,
             "sources": ["so", "static", "te"]})");
  EXPECT_EQ(program->end(SIGTERM), 0);
  EXPECT_EQ(program->rest(), "");
}

TEST_F(WatchTest, AFileThatGoesAndComesBack) {
  folder.write("te", "ip -f mpls route add 300 as 320 via inet 10.0.0.9 dev eth0\n");
  EXPECT_EQ(program->json().at("event"), "routeRemoved");
  Fs::rename(folder / "te", folder / "te~");
  expect(R"({"event": "notice", "file": "te",
             "text": "the file is gone, its routes are withdrawn"})");
  expect(added300);
  expect(R"({"event": "conflictEnded", "label": 300, "metric": 100, "sources": ["static", "te"]})");
  Fs::rename(folder / "te~", folder / "te");
  EXPECT_EQ(program->json().at("event"), "routeRemoved");
  expect(R"({"event": "conflictBegan", "label": 300, "metric": 100, "sources": ["static", "te"]})");
  EXPECT_EQ(program->end(SIGINT), 0);
}

TEST_F(WatchTest, ErrorsAreToldAndAFileThatIsNotUnderstoodKeepsItsRoutes) {
  folder.replace("te", "[{]");
  Json error = program->json();
  EXPECT_EQ(error.at("event"), "error");
  EXPECT_EQ(error.at("line"), 1);
  EXPECT_EQ(error.at("column"), 3);
  expect(R"({"event": "notice", "file": "te",
             "text": "not understood, its routes stay as they were"})");
  folder.replace("te", std::string(4096, '\0'));
  EXPECT_EQ(program->json().at("text"), "expected text, found a zero byte");
  EXPECT_EQ(program->json().at("event"), "notice");
  Fs::remove(folder / "te");
  ASSERT_EQ(::mkfifo((folder / "te").c_str(), 0600), 0);
  do error = program->json();
  while (error.at("event") != "error");
  EXPECT_EQ(error.at("text"), "cannot be read: Operation not supported");
  EXPECT_EQ(program->json().at("event"), "notice");
  folder.replace("te", "ip -f mpls route add 300 as 320\n");
  error = program->json();
  EXPECT_EQ(error.at("text"), "expected a next hop with via or dev, found neither");
  EXPECT_EQ(program->json().at("event"), "routeRemoved");  // 110
  expect(added300);
  EXPECT_EQ(program->json().at("event"), "conflictEnded");
  EXPECT_EQ(program->end(SIGTERM), 1);
  EXPECT_NE(errors = program->errors(), "");
  EXPECT_EQ(errors.substr(errors.find("te:1:26")),
            "te:1:26: expected a next hop with via or dev, found neither\n");
}

TEST_F(WatchTest, LinksAndDirectoriesMayBeSwitched) {
  Fs::create_directory(folder / "one");
  Fs::create_directory(folder / "two");
  folder.write("one/conf", "mpls lsp 100 10.0.0.1 200\n");
  folder.write("two/conf", "mpls lsp 100 10.0.0.1 201\n");
  Fs::create_directory_symlink("one", folder / "current");
  Fs::create_symlink("current/conf", folder / "conf");
  Program follower(folder, name,
                   {"--static", "conf", "--input", "two=two/conf", "--watch", "--json"});
  EXPECT_EQ(follower.json().at("conflicts").size(), 1u);
  Fs::rename(folder / "two", folder / "three");  // the input is gone with its directory
  EXPECT_EQ(follower.json().at("event"), "notice");
  EXPECT_EQ(follower.json().at("event"), "routeAdded");
  EXPECT_EQ(follower.json().at("event"), "conflictEnded");
  Fs::create_directory_symlink("three", folder / "next");
  Fs::rename(folder / "next", folder / "current");
  const Json changed = follower.json();
  EXPECT_EQ(changed.at("event"), "routeChanged");
  EXPECT_EQ(changed.at("vias").at(0).at("outLabel"), 201);
  folder.replace("three/conf", "");
  EXPECT_EQ(follower.json().at("event"), "routeRemoved");
  Fs::rename(folder / "three", folder / "two");  // breaks the link
  EXPECT_EQ(follower.json().at("event"), "notice");
  folder.replace("two/conf", "mpls lsp 100 10.0.0.1 203\n");
  EXPECT_EQ(follower.json().at("source"), "two");
  EXPECT_EQ(follower.end(SIGTERM), 0);
}

}  // namespace
