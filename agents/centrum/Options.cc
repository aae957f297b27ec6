#include "agents/centrum/Options.h"

#include "agents/common/Agent.h"

namespace CentrumProgram {

namespace {

constexpr const char* description =
    "Serves the central database: keeps what agents publish, and passes changes on to those who "
    "read it.\nWho belongs to the group of the socket may publish, as may its user and root; who "
    "may connect, may read.";

constexpr Agents::AgentHelp help = {
    .description = description,
    .note = "The log makes a restart unnoticed: agents go on where they were.",
    .needs = "a socket or a log"};

}  // namespace

std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode) {
  Options options;
  options.name = "centrum";
  bool noLog = false;
  CLI::App app("", options.name);
  Agents::describeMode(app, options.mode, "Permissions of the socket");
  auto* log = app.add_option("--log", options.log, "Log of changes [the socket's name and .log]")
                  ->type_name("FILE")
                  ->check(Agents::notEmpty("FILE"));
  app.add_flag("--no-log", noLog, "Keep no log: a restart starts empty")->excludes(log);
  Agents::describeAgent(app, options, help);
  if (!Agents::parse(app, argc, argv, exitCode)) return std::nullopt;
  if (noLog) options.log.clear();
  else if (options.log.empty()) options.log = options.socket + ".log";
  return options;
}

}  // namespace CentrumProgram
