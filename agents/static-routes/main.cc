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
  return agent.clean() ? exitGood : exitRefused;
}

int failed(const char* problem) {
  std::cout.exceptions(std::ios::goodbit);  // std::cerr flushes it first
  std::cerr << "static-routes: " << problem << std::endl;
  return exitUsage;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    std::cout.exceptions(std::ios::badbit | std::ios::failbit);  // nobody would hear the rest
    int exitCode = exitUsage;
    const auto options = optionsFrom(argc, argv, exitCode);
    if (options) exitCode = run(*options);
    std::cout.flush();
    return exitCode;
  } catch (const std::ios::failure&) {
    return failed("the standard output cannot be written");
  } catch (const std::exception& problem) {
    return failed(problem.what());
  }
}
