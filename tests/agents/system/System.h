/// The running system: a server, the agents around it, and what mplsctl shows of them.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/agents/Program.h"

namespace AgentTest {

using Json = nlohmann::json;

class System : public testing::Test {
 protected:
  using Arguments = std::vector<std::string>;
  struct Result {
    int code;
    std::string output;
    std::string errors;
  };

  /// A program that knows where the database is.
  std::unique_ptr<Program> start(const std::string& name, Arguments arguments) const {
    arguments.insert(arguments.end(), {"--socket", "socket"});
    return std::make_unique<Program>(folder, name, arguments);
  }
  /// Runs it to its end.
  Result run(const std::string& name, const Arguments& arguments) const {
    const auto program = start(name, arguments);
    const std::string output = program->rest();
    const std::string errors = program->errors();
    return {program->end(), output, errors};
  }
  std::unique_ptr<Program> startInput(const std::string& name) const {
    return start("static-route-agent", {"--input", name, "--file", name});
  }
  Json show(const Arguments& arguments) const {
    Arguments all = arguments;
    all.insert(all.end(), {"--json", "--timeout", "60"});
    const Result result = run("mplsctl", all);
    EXPECT_EQ(result.code, 0) << result.errors;
    return Json::parse(result.output);
  }
  /// The records of one kind in what was shown, without that member.
  static Json recordsOf(const Json& shown, const std::string& kind) {
    Json all = Json::array();
    for (Json one : shown.at("records"))
      if (one.at("kind") == kind) {
        one.erase("kind");
        all.push_back(one);
      }
    return all;
  }
  /// The routes in force, as "LABEL SOURCE".
  std::vector<std::string> routes() const {
    std::vector<std::string> all;
    const Json shown = show({"route", "show"});
    for (const Json& one : shown.at("records"))
      all.push_back(std::to_string(one.at("label").get<int>()) + " " +
                    one.at("source").get<std::string>());
    return all;
  }
  /// Starts the members of the system, by name: "centrum", "mpls-agent", "lfib-writer", or that of
  /// an input.
  void startAll(const Arguments& names) {
    for (const std::string& name : names) {
      if (name == "centrum") members[name] = start("centrum", {"--log", "log"});
      else if (name == "mpls-agent") members[name] = start("mpls-agent", {});
      else if (name == "lfib-writer") members[name] = start("lfib-writer", {"--run", "run"});
      else members[name] = startInput(name);
    }
  }
  void killAll(const Arguments& names) {
    for (const std::string& name : names) {
      EXPECT_EQ(members.at(name)->end(SIGKILL), -SIGKILL) << members.at(name)->errors();
      members.erase(name);
    }
  }

  Folder folder;
  std::map<std::string, std::unique_ptr<Program>> members;
};

}  // namespace AgentTest
