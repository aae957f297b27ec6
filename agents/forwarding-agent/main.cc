/// Keeps what the labels of LFIBs lead to. See docs/agents.md.
#include <memory>

#include "agents/common/Advice.h"
#include "agents/common/Agent.h"
#include "agents/forwarding-agent/Forwarder.h"
#include "platform/tarn/DirectoryStorage.h"

namespace {

using ForwardingAgent::Forwarder;
using ForwardingAgent::Options;

int run(const Options& options) {
  Tarn::busErrorsAreHandled();
  Agents::Program program(options, Agents::Program::Kind::follower);
  const auto forwarder =
      Agents::withAdvice("--table", [&] { return std::make_unique<Forwarder>(program, options); });
  return program.run();
}

}  // namespace

int main(int argc, char** argv) {
  return Agents::agentMain("forwarding-agent", argc, argv, ForwardingAgent::optionsFrom, run);
}
