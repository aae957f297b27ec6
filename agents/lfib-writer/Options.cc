#include "agents/lfib-writer/Options.h"

#include "agents/common/Paths.h"

namespace LfibWriterAgent {

namespace {

constexpr const char* description =
    "Keeps the label forwarding table (LFIB) in shared memory equal to the merged static MPLS "
    "routes of\nthe central database, and to the IP lookups, pseudowires and tags of a file. Who "
    "may "
    "read its directory\nmay read the tables, and is told of changes.";

constexpr const char* footer =
    "Exit codes: 0 ended by SIGINT or SIGTERM; 2 wrong usage, a file that cannot be read at start, "
    "or "
    "a directory\nthat cannot be used, as when another process writes there; 3 refused by the "
    "database; 4 a fault. The tables stay "
    "when it ends, and the\nnext one goes on from them.";

}  // namespace

std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode) {
  Options options;
  options.name = "lfib-writer";
  std::string run = Agents::defaultRun;
  CLI::App app(description, options.name);
  app.footer(footer);
  Agents::describe(app, options);
  Agents::describeRun(app, run);
  app.add_option("--lfib", options.lfib, "Directory of the tables [lfib/static in that of --run]")
      ->type_name("DIR")
      ->check(Agents::notEmpty("DIR"));
  app.add_option("--vias", options.vias,
                 "JSON of IP lookups, pseudowires and tags; followed; without, there are none")
      ->type_name("FILE")
      ->check(Agents::notEmpty("FILE"));
  Agents::describe(app, options.tables);
  if (!Agents::parse(app, argc, argv, exitCode)) return std::nullopt;
  if (options.lfib.empty()) options.lfib = Agents::staticLfib(run);
  return options;
}

}  // namespace LfibWriterAgent
