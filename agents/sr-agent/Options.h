/// The command line.
#pragma once

#include <optional>
#include <string>

#include "agents/common/Options.h"

namespace SrAgent {

struct Options : Agents::CommonOptions {
  std::string router;  ///< folder of the recorded router
  std::string tables;  ///< directory of the segment-routing tables
  std::string lfib;    ///< directory of the LFIB
  bool once = false;   ///< ends when the tables are written
  Agents::TableOptions permissions;
};

/// Reads the command line. When there is nothing to run, after --help or an error, prints what is
/// to be said and returns nothing; `exitCode` is then set.
std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode);

}  // namespace SrAgent
