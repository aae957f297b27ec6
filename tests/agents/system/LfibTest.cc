/// The LFIB in shared memory: its writer, and what mplsctl shows of it and of all tables.
#include <set>

#include "tests/agents/system/System.h"

namespace {

using namespace AgentTest;

class LfibTest : public System {
 protected:
  using Strings = std::vector<std::string>;

  void SetUp() override {
    folder.write("static", "mpls lsp 100 10.0.0.1 200\nmpls lsp 101 10.0.0.1 200\n");
    folder.write("te", "");
    startAll({"lfib-writer", "centrum", "mpls-agent", "static", "te"});
    members["lfib-writer"]->awaitError("in line with the merged routes routes=2 viaSets=1 ");
  }
  Result ctl(Arguments arguments) const {
    arguments.insert(arguments.end(), {"--run", "run", "--timeout", "20"});
    return run("mplsctl", arguments);
  }
  /// "LABEL OUT-LABEL ..." for each route.
  Strings lfib() const {
    const Result result = ctl({"lfib", "show", "--json", "--sort", "label"});
    EXPECT_EQ(result.code, 0) << result.errors;
    Strings all;
    const Json shown = Json::parse(result.output);
    for (const Json& route : shown.at("records")) {
      all.push_back(route.at("label").dump());
      for (const Json& via : route.at("vias")) all.back() += " " + via.at("outLabels").at(0).dump();
    }
    return all;
  }
  bool has(const std::string& text, const std::string& part) const {
    return text.find(part) != std::string::npos;
  }
};

TEST_F(LfibTest, OutlivesItsWriterAndIsToldOfDifferencesOnly) {
  EXPECT_EQ(lfib(), (Strings{"100 200", "101 200"}));
  const auto watch = start("mplsctl", {"lfib", "watch", "--run", "run"});
  watch->awaitError("watching 2 routes in ");
  const std::string pid = "(pid " + std::to_string(members["lfib-writer"]->pid()) + ")";
  const Result second = run("lfib-writer", {"--run", "run"});
  EXPECT_EQ(second.code, 2);
  EXPECT_TRUE(has(second.errors, "PID " + pid.substr(5, pid.size() - 6))) << second.errors;

  killAll({"lfib-writer"});
  watch->awaitError(": no writer since ");
  const Result get = ctl({"lfib", "get", "100", "100"});
  EXPECT_EQ(get.output.find("label 100 metric 100 from StaticMpls: via 10.0.0.1 swap 200 ("), 0U)
      << get.output;
  EXPECT_TRUE(has(get.output, " s, was lfib-writer " + pid)) << get.output;
  const Result none = ctl({"lfib", "get", "100", "99"});
  EXPECT_EQ(none.code, 1);
  EXPECT_EQ(none.errors, "mplsctl: no route of label 100 metric 99\n");

  folder.replace("static", "mpls lsp 100 10.0.0.1 200\nmpls lsp 102 10.0.0.1 202\n");
  folder.replace("te", "ip -f mpls route add 102 dev eth0\nip -f mpls route add 1000 dev eth0\n");
  while (routes() != Strings{"100 static", "1000 te"}) {
  }
  startAll({"lfib-writer"});
  members["lfib-writer"]->awaitError("in line with the merged routes routes=2 viaSets=2 ");
  const auto twoLines = [&watch] { return std::set<std::string>{watch->line(), watch->line()}; };
  EXPECT_EQ(twoLines(),
            (std::set<std::string>{"removed: label 101 metric 100",
                                   "added: label 1000 metric 100 from StaticMpls: pop dev eth0"}));
  folder.replace("te", "");
  EXPECT_EQ(twoLines(), (std::set<std::string>{
                            "removed: label 1000 metric 100",
                            "added: label 102 metric 100 from StaticMpls: via 10.0.0.1 swap 202"}));
  EXPECT_EQ(watch->end(SIGINT), 130);
  EXPECT_EQ(watch->rest(), "");
  EXPECT_EQ(members["lfib-writer"]->end(SIGTERM), 0);
}

TEST_F(LfibTest, TablesAreListedWhateverTheirHeadsHold) {
  const auto tables = [this](int code) {
    const Result result = ctl({"table", "show", "--json"});
    EXPECT_EQ(result.code, code) << result.errors;
    std::map<std::string, Json> all;
    const Json shown = Json::parse(result.output);
    for (const Json& one : shown.at("records")) all[one.at("table")] = one;
    EXPECT_EQ(all.size(), 11U);
    return all;
  };
  Json route = tables(0).at("lfibRoute");
  EXPECT_EQ(route.at("rows"), 2);
  EXPECT_EQ(route.at("epoch"), 1);
  EXPECT_EQ(route.at("writerPid"), members["lfib-writer"]->pid());
  EXPECT_EQ(route.at("writerPresent"), true);
  killAll({"lfib-writer"});
  route = tables(0).at("lfibRoute");
  EXPECT_EQ(route.at("writerPresent"), false);
  EXPECT_GE(route.at("goneSeconds"), 0);

  const std::string dir = "run/lfib/static/";
  std::string head = folder.read(dir + "pwVia.head");
  folder.replace(dir + "mplsVia.head", head);  // of another table
  head[8] = 3;
  folder.replace(dir + "pwVia.head", head);
  folder.replace(dir + "vlanVia.head", folder.read(dir + "vlanVia.head").substr(0, 4095));
  folder.replace(dir + "viaSet.head", std::string(4096, '\x1b'));
  const auto all = tables(4);
  EXPECT_EQ(all.at("mplsVia").at("problem"), "the head of another table: pwVia");
  EXPECT_EQ(all.at("pwVia").at("problem"), "layout 3, need 1");
  EXPECT_EQ(all.at("vlanVia").at("problem"), "cut short: 4095 of 4096 bytes");
  EXPECT_EQ(all.at("viaSet").at("problem"), "no head of a table");
  EXPECT_EQ(all.at("lfibRoute").at("rows"), 2);
  const Result text = ctl({"table", "show"});
  EXPECT_EQ(text.code, 4);
  EXPECT_TRUE(has(text.output, "layout 3, need 1")) << text.output;
  EXPECT_EQ(run("mplsctl", {"table", "show", "--run", "absent"}).code, 3);
  const Result show = run("mplsctl", {"lfib", "show", "--run", "run", "--timeout", "0"});
  EXPECT_EQ(show.code, 4);
  EXPECT_TRUE(has(show.errors, "layout 3, need 1")) << show.errors;
  EXPECT_TRUE(has(show.errors, "no LFIB to be read; start lfib-writer")) << show.errors;
}

}  // namespace
