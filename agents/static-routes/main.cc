/// Loads static MPLS routes from files, merges the sources and prints the effective table; with
/// --watch follows the files. See docs/static-routes.md.
#include <signal.h>

#include <exception>
#include <iostream>

#include "agents/static-routes/Agent.h"
#include "platform/forma/Trace.h"
#include "platform/ringtrace/RingTrace.h"

namespace {

using namespace StaticRoutes;

std::unique_ptr<Report> reportFor(const Options& options) {
  if (options.json) return jsonReport(std::cout, std::cerr, options.watch);
  return textReport(std::cout, std::cerr);
}

int run(const Options& options) {
  RingTrace::printOnFatalSignalIs(true);
  if (!options.trace.empty()) Forma::traceLevelsIs(options.trace);
  if (!options.ringFile.empty()) RingTrace::fileIs(options.ringFile);

  Kiln::EventLoop loop;
  for (const int signo : {SIGINT, SIGTERM}) loop.signalIs(signo, [&](int) { loop.stop(); });
  const auto report = reportFor(options);
  Agent agent(loop, options, *report);
  agent.start();
  if (options.watch) loop.run();
  if (!std::cout) throw std::runtime_error("the standard output cannot be written");
  return agent.clean() ? exitGood : exitRefused;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    int exitCode = exitUsage;
    const auto options = optionsFrom(argc, argv, exitCode);
    return options ? run(*options) : exitCode;
  } catch (const std::exception& problem) {
    std::cerr << "static-routes: " << problem.what() << std::endl;
    return exitUsage;
  }
}
