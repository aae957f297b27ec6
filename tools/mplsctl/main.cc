/// Shows and follows what the agents share through the central database. See docs/mplsctl.md.
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <ios>
#include <iostream>

#include "agents/common/ExitCode.h"
#include "agents/common/Program.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/Options.h"

namespace {

/// When who read the output is gone, as `head` when it has enough, ends as any filter does: by
/// SIGPIPE, without a word.
void endIfNobodyReads() {
  pollfd output{STDOUT_FILENO, POLLOUT, 0};
  if (::poll(&output, 1, 0) != 1 || (output.revents & POLLERR) == 0) return;
  ::signal(SIGPIPE, SIG_DFL);
  ::raise(SIGPIPE);
}

}  // namespace

int main(int argc, char** argv) {
  return Agents::guarded("mplsctl", [&] {
    MplsCtl::Options options;
    int exitCode = Agents::exitUsage;
    try {
      const MplsCtl::Command command = MplsCtl::commandFrom(argc, argv, options, exitCode);
      if (command != nullptr) {
        Agents::startTraces(options);
        exitCode = command(options);
      }
      std::cout.flush();
      return exitCode;
    } catch (const std::ios::failure&) {
      endIfNobodyReads();
      throw;  // the output, which errors do not go to
    } catch (const std::exception& problem) {
      MplsCtl::tellError(options, MplsCtl::ErrorCode::usage, problem.what());
      return Agents::exitUsage;
    }
  });
}
