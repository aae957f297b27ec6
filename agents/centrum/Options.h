/// The command line.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "agents/common/Options.h"

namespace CentrumProgram {

struct Options : Agents::CommonOptions {
  mode_t mode = 0660;  ///< of the socket
  std::string log;     ///< file; empty: none is kept
};

/// Reads the command line. When there is nothing to run, after --help or an error, prints what is
/// to be said and returns nothing; `exitCode` is then set.
std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode);

}  // namespace CentrumProgram
