#include "agents/lfib-writer/Options.h"

#include "agents/common/Agent.h"
#include "agents/common/Paths.h"

namespace LfibWriterAgent {

namespace {

constexpr const char* description =
    "Keeps the label forwarding table (LFIB) in shared memory equal to the merged static MPLS "
    "routes of\n"
    "the central database, and to the IP lookups, pseudowires and tags of a file. Who may read "
    "its directory\n"
    "may read the tables, and is told of changes.";

constexpr Agents::AgentHelp help = {
    .description = description,
    .note = "The tables stay when it ends, and the next one goes on from them.",
    .onReload = "Read the file of --vias again",
    .needs = "a file or a directory"};

}  // namespace

std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode) {
  Options options;
  options.name = "lfib-writer";
  CLI::App app("", options.name);
  app.add_option("--lfib", options.lfib, "Directory of the tables [lfib/static in that of --run]")
      ->type_name("DIR")
      ->check(Agents::notEmpty("DIR"));
  app.add_option("--vias", options.vias,
                 "JSON of IP lookups, pseudowires and tags; followed; without, there are none")
      ->type_name("FILE")
      ->check(Agents::notEmpty("FILE"));
  Agents::describe(app, options.tables);
  Agents::describeAgent(app, options, help);
  if (!Agents::parse(app, argc, argv, exitCode)) return std::nullopt;
  if (options.lfib.empty()) options.lfib = Agents::staticLfib(options.runDir);
  return options;
}

}  // namespace LfibWriterAgent
