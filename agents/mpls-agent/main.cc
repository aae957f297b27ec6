/// Runs the MPLS state machines of a switch over the central database. See docs/agents.md.
#include <optional>

#include "agents/common/Agent.h"
#include "agents/mpls-agent/LabelManager.h"
#include "agents/mpls-agent/RouteMerge.h"

namespace {

constexpr const char* name = "mpls-agent";
constexpr const char* description =
    "Merges the inputs of static MPLS routes in the central database into the effective "
    "configuration.\nA label that several inputs claim is withheld. Gives blocks of labels to the "
    "clients that ask for them.";
constexpr Agents::AgentHelp help = {.description = description,
                                    .note = "A restart changes nothing that is published."};

std::optional<Agents::CommonOptions> optionsFrom(int argc, const char* const* argv, int& exitCode) {
  Agents::CommonOptions options;
  options.name = name;
  CLI::App app("", name);
  Agents::describeAgent(app, options, help);
  return Agents::parse(app, argc, argv, exitCode) ? std::optional(options) : std::nullopt;
}

int run(const Agents::CommonOptions& options) {
  Agents::Program program(options, Agents::Program::Kind::follower);
  const MplsAgent::RouteMerge merge(program);
  const MplsAgent::LabelManager labels(program);
  return program.run();
}

}  // namespace

int main(int argc, char** argv) { return Agents::agentMain(name, argc, argv, optionsFrom, run); }
