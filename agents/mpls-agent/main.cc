/// Runs the MPLS state machines of a switch over the central database. See docs/agents.md.
#include "agents/common/ExitCode.h"
#include "agents/mpls-agent/LabelManager.h"
#include "agents/mpls-agent/RouteMerge.h"

namespace {

constexpr const char* name = "mpls-agent";
constexpr const char* description =
    "Merges the inputs of static MPLS routes in the central database into the effective "
    "configuration.\nA label that several inputs claim is withheld. Gives blocks of labels to the "
    "clients that ask for them.";
constexpr const char* footer =
    "Exit codes: 0 ended by SIGINT or SIGTERM; 2 wrong usage; 3 refused by the database; 4 a "
    "fault. "
    "A restart\nchanges nothing that is published.";

int run(const Agents::CommonOptions& options) {
  Agents::startTraces(options);
  Agents::Program program(options, Agents::Program::Kind::follower);
  const MplsAgent::RouteMerge merge(program);
  const MplsAgent::LabelManager labels(program);
  return program.run();
}

}  // namespace

int main(int argc, char** argv) {
  return Agents::guarded(name, [&] {
    Agents::CommonOptions options;
    options.name = name;
    CLI::App app(description, name);
    app.footer(footer);
    Agents::describe(app, options);
    int exitCode = Agents::exitUsage;
    return Agents::parse(app, argc, argv, exitCode) ? run(options) : exitCode;
  });
}
