/// The command line.
#pragma once

#include <optional>
#include <string>

#include "agents/common/Options.h"

namespace LfibWriterAgent {

struct Options : Agents::CommonOptions {
  std::string lfib;  ///< directory of the tables
  std::string vias;  ///< file of labels that do not lead to next hops; empty: none
  Agents::TableOptions tables;
};

/// Reads the command line. When there is nothing to run, after --help or an error, prints what is
/// to be said and returns nothing; `exitCode` is then set.
std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode);

}  // namespace LfibWriterAgent
