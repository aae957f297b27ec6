/// What all agents have in common: --help, the log, signals, the ring trace.
#include <regex>

#include "tests/agents/Data.h"
#include "tests/agents/system/System.h"

namespace {

using namespace AgentTest;

struct Member {
  std::string name;
  std::vector<std::string> arguments;
  std::string begins;  // what it says at start
  std::string reload;  // and at SIGHUP
  std::string ring;    // the name of its ring trace
};

const std::string nothing = "SIGHUP: there is nothing to read again";
const std::vector<Member> family = {
    {"centrum", {"--no-log"}, "listening socket=socket epoch=", nothing, "centrum"},
    {"mpls-agent", {}, "waits for a path path=", nothing, "mpls-agent"},
    {"static-route-agent",
     {"--input", "te", "--file", "te"},
     "publishes routes=1 path=routing/mpls/route/input/dynamic/te",
     "publishes routes=1 path=",
     "static-route-agent-te"},
    {"label-client", {"--name", "a", "--ids", "1"}, "asks for blocks ", nothing, "label-client-a"},
    {"lfib-writer", {"--vias", "vias"}, "file=vias ipLookups=1", "file=vias ", "lfib-writer"},
    {"forwarding-agent", {}, "forwards routes=", nothing, "forwarding-agent"},
    {"ldp-agent", {"--router", "west"}, " messages=67 ", " messages=67 ", "ldp-agent"},
    {"sr-agent", {"r1"}, "in line with the recording router=r1 ", "changedRows=0", "sr-agent-r1"}};

class FamilyTest : public System {};

TEST_F(FamilyTest, LogsSignalsAndRingTracesAreOfOneKind) {
  folder.write("te", "ip -f mpls route add 1000 dev eth0\n");
  folder.write("vias", R"({"ipLookup": [{"label": 500, "vrf": "red", "family": "ipv4"}]})");
  Fs::copy(sourceRoot() / "agents/ldp-agent/samples/west", folder / "west",
           Fs::copy_options::recursive);
  Fs::copy(sourceRoot() / "agents/sr-agent/samples/r1", folder / "r1");
  Fs::create_directories(folder / "run/trace");
  Fs::create_directory(folder / "run/trace/mpls-agent.ring");  // told, and does not stop it
  for (const Member& one : family) {
    Arguments arguments = one.arguments;
    arguments.insert(arguments.end(), {"--run", "run"});
    if (one.name != "sr-agent") arguments.insert(arguments.end(), {"--socket", "socket"});
    members[one.name] = std::make_unique<Program>(folder, one.name, arguments);
    members[one.name]->awaitError(one.begins);
  }
  const std::regex line(
      "(info|warn|error) \\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z ([a-z-]+): .+");
  for (auto one = family.rbegin(); one != family.rend(); ++one) {
    SCOPED_TRACE(one->name);
    Program& member = *members.at(one->name);
    ::kill(member.pid(), SIGHUP);
    member.awaitError(one->reload);
    EXPECT_EQ(member.end(SIGTERM), 0);
    const std::string trace =
        run("mplsctl", {"trace", "show", "--agent", one->ring, "--run", "run"}).output;
    EXPECT_EQ(trace.find(one->reload) != std::string::npos, one->name != "mpls-agent") << trace;
    std::istringstream said(member.errors());
    for (std::string text; std::getline(said, text);) {
      std::smatch parts;
      EXPECT_TRUE(std::regex_match(text, parts, line) && parts[2] == one->name) << text;
    }
  }
  EXPECT_NE(members["mpls-agent"]->errors().find("trace/mpls-agent.ring"), std::string::npos);
}

TEST_F(FamilyTest, HelpHasTheSameSectionsInTheSameWords) {
  for (const Member& one : family) {
    SCOPED_TRACE(one.name);
    const auto program = std::make_unique<Program>(folder, one.name, Arguments{"--help"});
    const std::string help = program->rest();
    EXPECT_EQ(program->end(), 0);
    std::size_t at = 0;
    for (const char* const part :
         {"\nUsage: ", "\nCommon options:\n", "\n  --run DIR", "\n  --version ", "\n  --trace ",
          "\n  --ring-file FILE ", "\n  -h,--help ", "\nSignals:\n",
          "\n  SIGTERM, SIGINT             End in order\n", "\n  SIGHUP ", "\nExit codes:\n",
          "\n  0                           Ended by SIGTERM or SIGINT",
          "\n  2                           Wrong usage",
          "\n  4                           A fault of the program\n"}) {
      const std::size_t found = help.find(part, at);
      ASSERT_NE(found, std::string::npos) << part << " of\n" << help;
      at = found;
    }
    std::istringstream lines(help);
    for (std::string text; std::getline(lines, text);) EXPECT_LE(text.size(), 110U) << text;
  }
}

}  // namespace
