/// What all agents have around what they do: one look of --help, one form of the log, the traces,
/// what signals do, and one meaning of exit codes.
#pragma once

#include <exception>
#include <string>

#include "agents/common/ExitCode.h"
#include "agents/common/Options.h"
#include "agents/common/Program.h"

namespace Agents {

/// What --help of an agent says beside its options.
struct AgentHelp {
  const char* description;  ///< lines of up to 100 columns
  const char* note;         ///< a sentence or two, below all else; the same
  const char* onReload = "Nothing: it has no files";  ///< what SIGHUP does
  const char* needs = nullptr;     ///< at start, else exitUsage: "a file or a directory"
  const char* whenDone = nullptr;  ///< the option that lets it end by itself
  bool mayRefusePart = false;      ///< then has exitPartRefused
  bool hasDatabase = true;
};

/// Adds what all agents have to the command line: to be called behind its own options, which come
/// first in --help. `options.name` is set.
void describeAgent(CLI::App& app, CommonOptions& options, const AgentHelp& help);

/// What was thrown, as text.
std::string problemText(const std::exception_ptr& problem);

/// Keeps SIGHUP until somebody handles it: an agent that still starts does not die of it.
void holdReload();

/// The main() of an agent: `optionsFrom` reads the command line, `run` does the rest.
int agentMain(const std::string& name, int argc, const char* const* argv, auto optionsFrom,
              auto run) {
  const auto body = [&] {
    holdReload();
    int exitCode = exitUsage;
    const auto options = optionsFrom(argc, argv, exitCode);
    if (!options) return exitCode;
    startTraces(*options);
    return static_cast<int>(run(*options));
  };
  return guarded(name, body, Log::Form::agent);
}

}  // namespace Agents
