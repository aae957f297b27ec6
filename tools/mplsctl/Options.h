/// The command line, and the commands that it names.
#pragma once

#include <functional>
#include <optional>

#include "agents/common/Options.h"

namespace MplsCtl {

struct Options : Agents::CommonOptions {
  bool json = false;
  double timeout = 5.0;  ///< seconds to wait for what is to be shown
};

/// Runs a command; returns the exit code. Raises std::ios::failure when the standard output cannot
/// be written.
using Command = int (*)(const Options& options);

/// Each in a source file of its own.
int routeShow(const Options& options);
int routeConflicts(const Options& options);
int routeWatch(const Options& options);
int dbShow(const Options& options);

/// Reads the command line. When there is nothing to run, after --help or an error, prints what is
/// to be said and returns null; `exitCode` is then set.
Command commandFrom(int argc, const char* const* argv, Options& options, int& exitCode);

}  // namespace MplsCtl
