/// Holds blocks of labels for as long as it runs. See docs/agents.md.
#include "agents/common/Agent.h"
#include "agents/label-client/LabelClient.h"

namespace {

using LabelClientAgent::LabelClient;
using LabelClientAgent::Options;

int run(const Options& options) {
  Agents::Program program(options, Agents::Program::Kind::follower);
  const LabelClient client(program, options);
  if (!options.withdraw) return program.run();
  return program.run([&] { return client.published() && program.manager()->allSent(); });
}

}  // namespace

int main(int argc, char** argv) {
  return Agents::agentMain("label-client", argc, argv, LabelClientAgent::optionsFrom, run);
}
