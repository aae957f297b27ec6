/// The options that all agents and tools have.
#pragma once

#include <sys/types.h>

#include <CLI/CLI.hpp>
#include <string>

#include "agents/common/Log.h"
#include "agents/common/Paths.h"

namespace Agents {

inline constexpr const char* defaultSocket = "/run/mpls/centrum.sock";

struct CommonOptions {
  std::string name;                    ///< of the program
  std::string socket = defaultSocket;  ///< of the database
  std::string trace;                   ///< as for Forma::traceLevelsIs
  std::string ringFile;                ///< of the ring trace; empty: see startTraces
  std::string runDir = defaultRun;     ///< of an agent: what agents share in memory lies below
  std::string instance;                ///< of an agent that may run several times: which it is
  Log::Form logForm = Log::Form::tool;
  Log::Sink logSink;  ///< empty: lines go to the standard error output
};

/// Adds --socket, --trace, --ring-file and --version to a command line.
void describe(CLI::App& app, CommonOptions& options);
/// The same without --socket, for programs that need no database.
void describeTraces(CLI::App& app, CommonOptions& options);

/// Reads the command line; raises CLI::ParseError after --help or an error. When there is nothing
/// to run, prints what is to be said and returns false; `exitCode` is then set.
bool parse(CLI::App& app, int argc, const char* const* argv, int& exitCode);

/// For CLI::Option::check: refuses an empty text. `what` names what is expected.
CLI::Validator notEmpty(const std::string& what);

/// For CLI::Option::check: a name that becomes part of a path. None that begins with a dot: it
/// would lead elsewhere, or be hidden.
CLI::Validator pathName();

/// Adds --run to a command line; `run` holds the default.
void describeRun(CLI::App& app, std::string& run);
/// Adds --mode, for permissions in octal, to a command line; `mode` holds the default.
void describeMode(CLI::App& app, mode_t& mode, const std::string& text);

/// Who may do what with a directory of tables that an agent writes.
struct TableOptions {
  mode_t mode = 0755;  ///< of the directory
  std::string owner;   ///< of the tables; empty: that of the process
  std::string group;   ///< the same
};
/// Adds --mode, --owner and --group to a command line.
void describe(CLI::App& app, TableOptions& options);

/// Starts the traces that the options ask for. Raises what the traces raise. The ring trace of an
/// agent is kept below its --run, when that has a directory for it; what is wrong there is told,
/// and harms nothing.
void startTraces(const CommonOptions& options);

}  // namespace Agents
