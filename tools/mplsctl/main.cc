/// Shows and follows what the agents share through the central database. See docs/agents.md.
#include "agents/common/ExitCode.h"
#include "agents/common/Program.h"
#include "tools/mplsctl/Options.h"

int main(int argc, char** argv) {
  return Agents::guarded("mplsctl", [&] {
    MplsCtl::Options options;
    int exitCode = Agents::exitUsage;
    const MplsCtl::Command command = MplsCtl::commandFrom(argc, argv, options, exitCode);
    if (command == nullptr) return exitCode;
    Agents::startTraces(options);
    return command(options);
  });
}
