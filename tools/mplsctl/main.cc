/// Shows and follows what the agents share through the central database. See docs/mplsctl.md.
#include <ios>

#include "agents/common/ExitCode.h"
#include "agents/common/Program.h"
#include "tools/mplsctl/Errors.h"
#include "tools/mplsctl/Options.h"

int main(int argc, char** argv) {
  return Agents::guarded("mplsctl", [&] {
    MplsCtl::Options options;
    int exitCode = Agents::exitUsage;
    const MplsCtl::Command command = MplsCtl::commandFrom(argc, argv, options, exitCode);
    if (command == nullptr) return exitCode;
    Agents::startTraces(options);
    try {
      return command(options);
    } catch (const std::ios::failure&) {
      throw;  // the output, which errors do not go to
    } catch (const std::exception& problem) {
      MplsCtl::tellError(options, MplsCtl::ErrorCode::usage, problem.what());
      return Agents::exitUsage;
    }
  });
}
