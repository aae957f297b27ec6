/// What all commands of mplsctl have in common: choosing and laying out records, events as JSON,
/// errors and exit codes, help, manual page and completion.
#include <regex>
#include <set>

#include "tests/agents/Data.h"
#include "tests/agents/system/System.h"

namespace {

using namespace AgentTest;

class CtlTest : public System {
 protected:
  using Strings = std::vector<std::string>;

  void startSystem() {
    folder.write(
        "static",
        "mpls lsp 100 10.0.0.1 200\nmpls lsp 101 10.0.0.2 200\nmpls lsp 102 10.0.0.1 300\n");
    startAll({"lfib-writer", "centrum", "mpls-agent", "static"});
    members["lfib-writer"]->awaitError("in line with the merged routes routes=3");
  }
  Result ctl(Arguments arguments) const {
    arguments.insert(arguments.begin(), {"--run", "run"});  // before the words, and behind them
    arguments.insert(arguments.end(), {"--timeout", "20"});
    return run("mplsctl", arguments);
  }
  /// The labels that a command shows, in order.
  Strings labels(Arguments arguments) const {
    arguments.insert(arguments.begin(), {"lfib", "show", "-j"});
    const Result result = ctl(arguments);
    EXPECT_EQ(result.code, 0) << result.errors;
    Strings all;
    const Json shown = Json::parse(result.output);
    for (const Json& one : shown.at("records")) all.push_back(one.at("label").dump());
    return all;
  }
};

TEST_F(CtlTest, RecordsAreChosenSortedCountedAndLaidOut) {
  startSystem();
  EXPECT_EQ(labels({"--sort", "-label"}), (Strings{"102", "101", "100"}));
  EXPECT_EQ(labels({"--sort=label", "--limit", "2"}), (Strings{"100", "101"}));
  EXPECT_EQ(labels({"--filter", "nextHop=10.0.0.1", "--filter", "outLabels=200"}), Strings{"100"});
  EXPECT_EQ(ctl({"lfib", "show", "--count"}).output, "3\n");
  EXPECT_EQ(ctl({"lfib", "show", "--count", "--filter", "label=101"}).output, "1\n");
  const Json counted = Json::parse(ctl({"-j", "route", "show", "--count"}).output);
  EXPECT_EQ(counted, (Json{{"object", "route"}, {"verb", "show"}, {"count", 3}}));
  for (const char* const object : {"lfib", "route"}) {
    const Result pretty = ctl({object, "get", "101", "-p"});
    EXPECT_NE(pretty.output.find("\n      \"label\": 101,\n"), std::string::npos) << pretty.output;
    EXPECT_EQ(Json::parse(pretty.output).at("records").size(), 1U);
    const Result none = ctl({object, "get", "999", "-j"});
    EXPECT_EQ(none.code, 1);
    EXPECT_EQ(Json::parse(none.errors).at("error").at("code"), "notFound") << none.errors;
    EXPECT_EQ(Json::parse(none.output).at("records"), Json::array());
  }
  EXPECT_EQ(Json::parse(ctl({"table", "get", "viaSet", "-j"}).output).at("records").size(), 1U);
  EXPECT_EQ(Json::parse(ctl({"db", "get", "routing/mpls/config", "-j"}).output)["records"].size(),
            1U);
  const Result coloured = ctl({"lfib", "show", "--color", "always"});
  EXPECT_NE(coloured.output.find("\x1b[1mLABEL"), std::string::npos) << coloured.output;
  EXPECT_EQ(ctl({"lfib", "show"}).output.find('\x1b'), std::string::npos) << "into a pipe";
}

TEST_F(CtlTest, EventsCarryWhatWasAndWhatIs) {
  startSystem();
  const auto lfib = start("mplsctl", {"lfib", "watch", "-j", "--run", "run"});
  std::set<int> initial;
  for (int seq = 1; seq <= 3; ++seq) {
    const Json event = lfib->json();
    EXPECT_EQ(event.at("seq"), seq);
    EXPECT_EQ(event.at("op"), "initial");
    EXPECT_FALSE(event.contains("old")) << event;
    initial.insert(event.at("new").at("label").get<int>());
  }
  EXPECT_EQ(initial, (std::set<int>{100, 101, 102}));
  EXPECT_EQ(lfib->json().at("op"), "sync");
  const auto route = start("mplsctl", {"-j", "route", "watch", "--no-initial", "--timeout", "20"});
  route->awaitError("watching 3 routes");
  folder.replace("static", "mpls lsp 100 10.0.0.9 200\nmpls lsp 101 10.0.0.2 200\n");
  for (Program* const watch : {lfib.get(), route.get()}) {
    std::map<std::string, Json> events;
    for (int i = 0; i < 2; ++i) {
      const Json event = watch->json();
      const std::regex time(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z)");
      EXPECT_TRUE(std::regex_match(event.at("time").get<std::string>(), time)) << event;
      events[event.at("op")] = event;
    }
    const Json& changed = events.at("changed");
    EXPECT_EQ(changed.at("key").at("label"), 100);
    EXPECT_EQ(changed.at("old").at("vias").at(0).at("nextHop"), "10.0.0.1");
    EXPECT_EQ(changed.at("new").at("vias").at(0).at("nextHop"), "10.0.0.9");
    EXPECT_EQ(events.at("removed").at("old").at("label"), 102);
    EXPECT_FALSE(events.at("removed").contains("new"));
  }
  EXPECT_EQ(lfib->end(SIGINT), 130);
  EXPECT_EQ(route->end(SIGTERM), 143);
}

/// As `head` is when it has enough: then there is nothing to say.
TEST_F(CtlTest, EndsAsBySigpipeWhenNobodyReadsItsOutput) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  ::close(ends[0]);
  for (const char* const command : {"--help", "completion bash"}) {
    const std::string line = Program::path("mplsctl") + " " + command + " 2>" +
                             (folder / "out").string() + " >&" + std::to_string(ends[1]) +
                             "; exit $?";
    EXPECT_EQ(WEXITSTATUS(std::system(line.c_str())), 141) << command;
    EXPECT_EQ(folder.read("out"), "");
  }
  ::close(ends[1]);
}

/// Without the right to read: what, whose, and what is needed. Root gives its privileges up, and
/// stays who it is: where the programs lie others may not be let in.
TEST_F(CtlTest, ErrorsNameWhatIsWrongAndWhatToDo) {
  startSystem();
  killAll({"lfib-writer"});
  const auto asOneWithoutRights = [this](const std::string& arguments) {
    const std::string drop = ::geteuid() == 0
                                 ? "setpriv --bounding-set -dac_override,-dac_read_search "
                                   "--inh-caps -dac_override,-dac_read_search "
                                 : "";
    return WEXITSTATUS(
        std::system(("cd " + folder.path().string() + " && " + drop + Program::path("mplsctl") +
                     " " + arguments + " --run run --timeout 0 >out 2>&1")
                        .c_str()));
  };
  Fs::permissions(folder.path(), Fs::perms(0755));
  Fs::create_directories(folder / "run/ldp");
  folder.write("run/x.ring", "");
  for (const char* const closed : {"run/lfib/static", "run/ldp", "run/x.ring"})
    Fs::permissions(folder / closed, Fs::perms::none);
  for (const auto& [command, place] :
       std::vector<std::pair<std::string, std::string>>{{"lfib show", "run/lfib/static"},
                                                        {"lfib show -j", "run/lfib/static"},
                                                        {"lfib verify", "run/lfib/static"},
                                                        {"lfib stat", "run/lfib/static"},
                                                        {"table show", "run/lfib/static"},
                                                        {"table verify", "run/lfib/static"},
                                                        {"ldp show", "run/ldp"},
                                                        {"trace show run/x.ring", "run/x.ring"}}) {
    EXPECT_EQ(asOneWithoutRights(command), 3) << command << folder.read("out");
    const std::regex told("needs the right to (read|search) [^;]*" + place +
                          "; found mode 0000, uid \\d+, gid \\d+; this process has uid ");
    EXPECT_TRUE(std::regex_search(folder.read("out"), told)) << command << folder.read("out");
    EXPECT_EQ(folder.read("out").find("start l"), std::string::npos) << "no wrong hint";
  }
  Fs::permissions(folder / "run/lfib/static", Fs::perms::owner_all);
  for (const auto& [arguments, text] : std::vector<std::pair<Arguments, std::string>>{
           {{"lfib", "shwo"}, "unknown verb: shwo; did you mean show?"},
           {{"lifb", "show"}, "unknown object: lifb; did you mean lfib?"},
           {{"table", "show", "--sort", "x"}, "table show has no key x; there are: table, dir"},
           {{"db", "show", "--filter", "path"}, "expected KEY=VALUE"}}) {
    const Result plain = ctl(arguments);
    EXPECT_EQ(plain.code, 2) << text;
    EXPECT_NE(plain.errors.find(text), std::string::npos) << plain.errors;
    Arguments json = arguments;
    json.push_back("-j");
    EXPECT_EQ(Json::parse(ctl(json).errors).at("error").at("code"), "usage");
  }
  folder.replace("run/lfib/static/viaSet.head", std::string(4096, 'x'));
  EXPECT_EQ(run("mplsctl", {"lfib", "show", "--run", "run", "--timeout", "0"}).code, 4);
}

/// The manual page and the completion have each object, verb and option that help tells of.
TEST_F(CtlTest, ManualPageAndCompletionAreComplete) {
  const auto textOf = [](const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(sourceRoot() / "packaging" / path).rdbuf();
    return text.str();
  };
  EXPECT_EQ(Program(folder, "mplsctl", {"completion", "bash"}).rest(), textOf("completion/mplsctl"))
      << "make it anew: mplsctl completion bash";
  const std::string page =  // hyphens, too, go: "--no-initial" is "noinitial"
      std::regex_replace(textOf("man/mplsctl.1"), std::regex("[\\\\](-|f.)"), "");
  const auto wordsOf = [](const std::string& text, const char* pattern) {
    std::set<std::string> words;
    const std::regex regex(pattern);
    for (std::sregex_iterator at(text.begin(), text.end(), regex), end; at != end; ++at)
      words.insert((*at)[1]);
    return words;
  };
  const auto subcommands = [&](const std::string& help) {
    const std::size_t at = help.find("Subcommands:");
    if (at == std::string::npos) return std::set<std::string>();
    return wordsOf(help.substr(at, help.find("\n\n", at) - at), "\n  ([a-z]+)");
  };
  const auto optionsOf = [&](const std::string& help) { return wordsOf(help, "--([a-z-]+)"); };
  const std::string all = run("mplsctl", {"--help"}).output;
  std::set<std::string> options = optionsOf(all);
  EXPECT_GE(subcommands(all).size(), 8U) << all;
  for (const std::string& object : subcommands(all)) {
    const std::string help = run("mplsctl", {object, "--help"}).output;
    std::smatch line;
    ASSERT_TRUE(std::regex_search(page, line, std::regex("\n[^\n]*\\b" + object + "\\b[^\n]*")));
    for (const std::string& verb : subcommands(help)) {
      EXPECT_TRUE(
          std::regex_search(page, std::regex("\n\\.B " + object + " [^\n]*\\b" + verb + "\\b")))
          << object << ' ' << verb;
      options.merge(optionsOf(run("mplsctl", {object, verb, "--help"}).output));
    }
  }
  for (const std::string& option : options) {
    const std::string bare = std::regex_replace(option, std::regex("-"), "");
    EXPECT_TRUE(std::regex_search(page, std::regex("\\b" + bare + "\\b"))) << option;
  }
}

}  // namespace
