/// Publishes the label bindings of an LDP router. See docs/agents.md.
#include <memory>

#include "agents/common/Advice.h"
#include "agents/common/ExitCode.h"
#include "agents/ldp-agent/LdpAgent.h"
#include "platform/tarn/DirectoryStorage.h"

namespace {

int run(const LdpAgent::Options& options) {
  Agents::startTraces(options);
  Tarn::busErrorsAreHandled();
  Agents::Program program(options, Agents::Program::Kind::follower);
  const auto agent = Agents::withAdvice(
      "--tables or --lfib", [&] { return std::make_unique<LdpAgent::LdpAgent>(program, options); });
  return program.run();
}

}  // namespace

int main(int argc, char** argv) {
  return Agents::guarded("ldp-agent", [&] {
    int exitCode = Agents::exitUsage;
    const auto options = LdpAgent::optionsFrom(argc, argv, exitCode);
    return options ? run(*options) : exitCode;
  });
}
