/// The command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agents/common/Options.h"

namespace ForwardingAgent {

struct Options : Agents::CommonOptions {
  std::vector<std::string> lfibs;  ///< directories of the LFIBs, the one that goes before first
  std::string table;               ///< directory of the tables that are written
  Agents::TableOptions tables;
};

/// By which an LFIB is known in the database: the last part of its directory.
std::string lfibName(const std::string& directory);

/// Reads the command line. When there is nothing to run, after --help or an error, prints what is
/// to be said and returns nothing; `exitCode` is then set.
std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode);

}  // namespace ForwardingAgent
