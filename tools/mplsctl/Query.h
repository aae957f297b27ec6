/// Waits for what a command is to show, and says what is missing when it does not come.
#pragma once

#include <functional>
#include <string>

#include "agents/common/Program.h"
#include "tools/mplsctl/Options.h"

namespace MplsCtl {

/// Runs until `done`, for the time that the options give. When that does not come, says which path
/// is not there, or else `otherwise`, and what to do.
bool await(Agents::Program& program, const Options& options, const std::function<bool()>& done,
           const std::string& otherwise);

/// Runs a command that follows until a signal ends it; returns the exit code.
int follow(Agents::Program& program);
/// Calls `end` with the exit code when SIGINT or SIGTERM comes: 130 or 143, as a shell has it.
void endsBySignal(Kiln::EventLoop& loop, const std::function<void(int exitCode)>& end);

/// Calls `look` now and each so many seconds, until it returns false or a signal or a fault ends
/// the command; returns the exit code. Between looks the loop runs.
int repeat(Kiln::EventLoop& loop, double seconds, const std::function<bool()>& look);
int repeat(Agents::Program& program, double seconds, const std::function<bool()>& look);

/// The exit code of a command for which await() failed.
int exitCodeOf(const Agents::Program& program);

}  // namespace MplsCtl
