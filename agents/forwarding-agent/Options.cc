#include "agents/forwarding-agent/Options.h"

#include <filesystem>
#include <set>

#include "agents/common/Agent.h"
#include "agents/common/Paths.h"

namespace ForwardingAgent {

namespace {

constexpr const char* description =
    "Reads label forwarding tables (LFIBs) in shared memory and keeps what each label leads to, "
    "now. "
    "Writes\na table of the routes that it cannot forward, and publishes the labels that VRFs look "
    "up.";

constexpr Agents::AgentHelp help = {
    .description = description,
    .note =
        "Neither the LFIBs nor the database need be there: it waits, and forwards what it knows.",
    .needs = "a directory"};

void mustDiffer(const std::vector<std::string>& lfibs) {
  std::set<std::string> names;
  for (const std::string& lfib : lfibs)
    if (!names.insert(lfibName(lfib)).second)
      throw CLI::ValidationError("--lfib",
                                 "expected directories with different names, found two "
                                 "called \"" +
                                     lfibName(lfib) + "\"");
}

}  // namespace

std::string lfibName(const std::string& directory) {
  const std::filesystem::path path(directory);
  return (path.has_filename() ? path : path.parent_path()).filename().string();
}

std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode) {
  Options options;
  options.name = "forwarding-agent";
  CLI::App app("", options.name);
  app.add_option("--lfib", options.lfibs,
                 "Directory of an LFIB, may be given again [lfib/static in that of --run]")
      ->type_name("DIR")
      ->type_size(1)
      ->allow_extra_args(false)
      ->check(Agents::notEmpty("DIR"));
  app.add_option("--table", options.table,
                 "Directory of the tables that it writes [forwarding in that of --run]")
      ->type_name("DIR")
      ->check(Agents::notEmpty("DIR"));
  Agents::describe(app, options.tables);
  app.final_callback([&] { mustDiffer(options.lfibs); });
  Agents::describeAgent(app, options, help);
  if (!Agents::parse(app, argc, argv, exitCode)) return std::nullopt;
  if (options.lfibs.empty()) options.lfibs = {Agents::staticLfib(options.runDir)};
  if (options.table.empty()) options.table = Agents::forwardingTables(options.runDir);
  return options;
}

}  // namespace ForwardingAgent
