/// Replays a recorded router into segment-routing tables and an LFIB. See docs/agents.md.
#include <signal.h>

#include <exception>
#include <optional>

#include "agents/common/Agent.h"
#include "agents/sr-agent/Replayer.h"
#include "platform/tarn/DirectoryStorage.h"

namespace {

/// Handles signals before it says anything, so that whoever read that may send them.
int run(const SrAgent::Options& options) {
  Tarn::busErrorsAreHandled();
  Agents::Log log(options.name, options.logForm);
  Kiln::EventLoop loop;
  std::optional<SrAgent::Replayer> replayer;
  std::optional<int> exitCode;
  for (const int signo : {SIGINT, SIGTERM})
    loop.signalIs(signo, [&](int) { exitCode = exitCode.value_or(Agents::exitGood); });
  loop.signalIs(SIGHUP, [&](int) { replayer->reload(); });
  loop.exceptionHandlerIs([&](const std::exception_ptr& problem) {
    exitCode = Agents::exitFault;
    log.error(Agents::problemText(problem));
  });
  replayer.emplace(loop, log, options);
  if (options.once) return Agents::exitGood;
  loop.runUntil([&] { return exitCode.has_value(); }, Kiln::EventLoop::forever);
  return *exitCode;
}

}  // namespace

int main(int argc, char** argv) {
  return Agents::agentMain("sr-agent", argc, argv, SrAgent::optionsFrom, run);
}
