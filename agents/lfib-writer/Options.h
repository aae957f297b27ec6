/// The command line.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "agents/common/Options.h"

namespace LfibWriterAgent {

struct Options : Agents::CommonOptions {
  std::string lfib;    ///< directory of the tables
  mode_t mode = 0755;  ///< of that directory
  std::string owner;   ///< of the tables; empty: that of the process
  std::string group;   ///< the same
};

/// Reads the command line. When there is nothing to run, after --help or an error, prints what is
/// to be said and returns nothing; `exitCode` is then set.
std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode);

}  // namespace LfibWriterAgent
