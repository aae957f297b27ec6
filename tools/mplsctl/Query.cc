#include "tools/mplsctl/Query.h"

#include <signal.h>

#include <cerrno>
#include <optional>
#include <system_error>

#include "agents/common/ExitCode.h"
#include "agents/common/Paths.h"
#include "tools/mplsctl/Errors.h"

namespace MplsCtl {

namespace {

/// Who creates a path.
std::string startHint(const std::string& path) {
  if (path == Agents::staticInputPath) return "start static-route-agent --input static";
  if (path == Agents::configPath) return "start static-route-agent --input static";
  if (path == Agents::mergedPath || path == Agents::dynamicInputDir) return "start mpls-agent";
  if (path == Agents::apiStatusPath || path == Agents::labelWaitPath) return "start mpls-agent";
  if (path == Agents::labelRequestDir) return "start mpls-agent";
  if (path.starts_with(Agents::ipLookupDir)) return "start forwarding-agent";
  return "start the agent that publishes it";
}

std::string missing(const Centrum::MountInfo& mount) {
  if (mount.state == Centrum::MountState::waiting)
    return "nobody has created it; " + startHint(mount.path);
  if (mount.state == Centrum::MountState::filling)
    return "its content is still on the way; try a longer --timeout";
  return {};
}

/// `problem` is empty when the connection stands, and centrum has said nothing.
std::string noConnection(const std::string& problem, const std::string& socket) {
  if (problem.empty()) return "centrum at " + socket + " does not answer; try a longer --timeout";
  if (problem.find(std::generic_category().message(EACCES)) != std::string::npos)
    return "no right to connect to centrum at " + problem +
           "; be in the group of the socket, or start centrum with another --mode";
  return "no centrum at " + problem + "; start it, or tell with --socket where it listens";
}

void tellMissing(Agents::Program& program, const Options& options, const std::string& otherwise) {
  if (!program.manager()->connected())
    return tellError(options, ErrorCode::cannotOpen,
                     noConnection(program.connectionProblem(), options.socket));
  bool told = false;
  for (const Centrum::MountInfo& mount : program.manager()->mountInfos()) {
    const std::string text = missing(mount);
    if (text.empty()) continue;
    tellError(options, ErrorCode::cannotOpen, text, mount.path);
    told = true;
  }
  if (!told) tellError(options, ErrorCode::cannotOpen, otherwise);
}

}  // namespace

bool await(Agents::Program& program, const Options& options, const std::function<bool()>& done,
           const std::string& otherwise) {
  if (program.await(done, options.timeout)) return true;
  if (!program.ended()) tellMissing(program, options, otherwise);
  return false;
}

void endsBySignal(Kiln::EventLoop& loop, const std::function<void(int exitCode)>& end) {
  for (const int signo : {SIGINT, SIGTERM})
    loop.signalIs(signo, [end](int number) {
      end(number == SIGINT ? Agents::exitInterrupted : Agents::exitTerminated);
    });
}

int follow(Agents::Program& program) {
  endsBySignal(program.loop(), [&program](int exitCode) { program.end(exitCode); });
  return program.run();
}

int repeat(Kiln::EventLoop& loop, double seconds, const std::function<bool()>& look) {
  std::optional<int> exitCode;
  endsBySignal(loop, [&exitCode](int code) { exitCode = code; });
  while (!exitCode && look()) loop.runUntil([&exitCode] { return exitCode.has_value(); }, seconds);
  return exitCode.value_or(Agents::exitGood);
}

int repeat(Agents::Program& program, double seconds, const std::function<bool()>& look) {
  endsBySignal(program.loop(), [&program](int exitCode) { program.end(exitCode); });
  while (!program.ended() && look()) program.await([] { return false; }, seconds);
  return program.exitCode();
}

int exitCodeOf(const Agents::Program& program) {
  return program.ended() ? program.exitCode() : Agents::exitDatabase;
}

}  // namespace MplsCtl
