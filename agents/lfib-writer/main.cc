/// Keeps LFIB tables in shared memory equal to the merged static routes. See docs/agents.md.
#include <memory>

#include "agents/common/Advice.h"
#include "agents/common/Agent.h"
#include "agents/lfib-writer/LfibWriter.h"
#include "platform/tarn/DirectoryStorage.h"

namespace {

using LfibWriterAgent::LfibWriter;
using LfibWriterAgent::Options;

int run(const Options& options) {
  Tarn::busErrorsAreHandled();
  Agents::Program program(options, Agents::Program::Kind::follower);
  const auto writer =
      Agents::withAdvice("--lfib", [&] { return std::make_unique<LfibWriter>(program, options); });
  return program.run();
}

}  // namespace

int main(int argc, char** argv) {
  return Agents::agentMain("lfib-writer", argc, argv, LfibWriterAgent::optionsFrom, run);
}
