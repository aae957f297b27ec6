#include "agents/lfib-writer/Options.h"

#include "agents/common/Paths.h"

namespace LfibWriterAgent {

namespace {

constexpr const char* description =
    "Keeps the label forwarding table (LFIB) in shared memory equal to the merged static MPLS "
    "routes of\nthe central database. Who may read its directory may read the tables, and is told "
    "of changes.";

constexpr const char* footer =
    "Exit codes: 0 ended by SIGINT or SIGTERM; 2 wrong usage, or a directory that cannot be used, "
    "as when\nanother process writes there; 3 refused by the database; 4 a fault. The tables stay "
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
  Agents::describeMode(app, options.mode, "Permissions of the directory; files get those to read");
  app.add_option("--owner", options.owner, "User that owns the tables [who runs this]")
      ->type_name("USER");
  app.add_option("--group", options.group, "Group of the tables [of who runs this]")
      ->type_name("GROUP");
  if (!Agents::parse(app, argc, argv, exitCode)) return std::nullopt;
  if (options.lfib.empty()) options.lfib = Agents::staticLfib(run);
  return options;
}

}  // namespace LfibWriterAgent
