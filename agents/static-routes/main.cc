/// Loads static MPLS routes from files, merges the sources and prints the effective table; with
/// --watch follows the files. See docs/static-routes.md.
#include <signal.h>

#include <exception>
#include <iostream>

#include "agents/common/ExitCode.h"
#include "agents/common/Program.h"
#include "agents/static-routes/Agent.h"

namespace {

using namespace StaticRoutes;

std::unique_ptr<Report> reportFor(const Options& options) {
  if (options.json) return jsonReport(std::cout, std::cerr, options.watch);
  return textReport(std::cout, std::cerr);
}

int run(const Options& options) {
  Kiln::EventLoop loop;
  if (options.watch)  // otherwise they end the program at once, even one that waits for a pipe
    for (const int signo : {SIGINT, SIGTERM}) loop.signalIs(signo, [&](int) { loop.stop(); });
  const auto report = reportFor(options);
  Agent agent(loop, options, *report);
  agent.start();
  std::exception_ptr failure;  // an agent that is deaf or mute must not seem to work
  loop.exceptionHandlerIs([&](std::exception_ptr problem) {
    failure = std::move(problem);
    loop.stop();
  });
  if (options.watch) loop.run();
  if (failure) std::rethrow_exception(failure);
  return agent.clean() ? Agents::exitGood : Agents::exitPartRefused;
}

}  // namespace

int main(int argc, char** argv) {
  return Agents::guarded("static-routes", [&] {
    int exitCode = Agents::exitUsage;
    const auto options = optionsFrom(argc, argv, exitCode);
    if (!options) return exitCode;
    Agents::startTraces(*options);
    return run(*options);
  });
}
