#include "agents/sr-agent/Options.h"

#include <filesystem>

#include "agents/common/Agent.h"
#include "agents/common/Paths.h"

namespace SrAgent {

namespace {

constexpr const char* description =
    "Replays a recorded router into segment-routing tables and a label forwarding table (LFIB) in "
    "shared\nmemory: its global blocks, its prefix segments, the routes that it installs with "
    "labels, its labels.";

constexpr Agents::AgentHelp help = {
    .description = description,
    .note = "The tables stay when it ends, and the next one goes on from them.",
    .onReload = "Read the recording again; only what differs is written",
    .needs = "a recording or a directory",
    .whenDone = "--once",
    .hasDatabase = false};

/// "rt1" of "data/rt1/".
std::string lastName(const std::string& folder) {
  const std::filesystem::path path = std::filesystem::path(folder).lexically_normal();
  return (path.has_filename() ? path : path.parent_path()).filename().string();
}

}  // namespace

std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode) {
  Options options;
  options.name = "sr-agent";
  CLI::App app("", options.name);
  app.add_option("router", options.router, "Folder of the router: config.json and events.jsonl")
      ->type_name("DIR")
      ->required()
      ->check(Agents::notEmpty("DIR"));
  app.add_option("--instance", options.instance,
                 "What the tables are called [the last name of DIR]")
      ->type_name("NAME")
      ->check(Agents::pathName());
  app.add_flag("--once", options.once, "End when the tables are written");
  app.add_option("--tables", options.tables,
                 "Directory of the segment-routing tables [sr/NAME in that of --run]")
      ->type_name("DIR")
      ->check(Agents::notEmpty("DIR"));
  app.add_option("--lfib", options.lfib, "Directory of the LFIB [lfib/sr-NAME in that of --run]")
      ->type_name("DIR")
      ->check(Agents::notEmpty("DIR"));
  Agents::describe(app, options.permissions);
  Agents::describeAgent(app, options, help);
  if (!Agents::parse(app, argc, argv, exitCode)) return std::nullopt;
  if (options.instance.empty()) options.instance = lastName(options.router);
  if (options.tables.empty()) options.tables = Agents::srTables(options.runDir, options.instance);
  if (options.lfib.empty()) options.lfib = Agents::srLfib(options.runDir, options.instance);
  return options;
}

}  // namespace SrAgent
