/// Publishes the label bindings of an LDP router. See docs/agents.md.
#include <memory>

#include "agents/common/Advice.h"
#include "agents/common/Agent.h"
#include "agents/ldp-agent/LdpAgent.h"
#include "platform/tarn/DirectoryStorage.h"

namespace {

int run(const LdpAgent::Options& options) {
  Tarn::busErrorsAreHandled();
  Agents::Program program(options, Agents::Program::Kind::follower);
  const auto agent = Agents::withAdvice(
      "--tables or --lfib", [&] { return std::make_unique<LdpAgent::LdpAgent>(program, options); });
  return program.run();
}

}  // namespace

int main(int argc, char** argv) {
  return Agents::agentMain("ldp-agent", argc, argv, LdpAgent::optionsFrom, run);
}
