/// Publishes the static MPLS routes of a file as one input of the route merge. See docs/agents.md.
#include "agents/common/Agent.h"
#include "agents/static-route-agent/InputAgent.h"

namespace {

using namespace StaticRouteAgent;

int run(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::follower);
  const InputAgent agent(program, options);
  if (!options.once) return program.run();
  const int exitCode =
      program.run([&] { return agent.published() && program.manager()->allSent(); });
  return exitCode == Agents::exitGood && !agent.clean() ? Agents::exitPartRefused : exitCode;
}

}  // namespace

int main(int argc, char** argv) {
  return Agents::agentMain("static-route-agent", argc, argv, optionsFrom, run);
}
