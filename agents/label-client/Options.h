/// The command line.
#pragma once

#include <optional>
#include <set>
#include <string>

#include "agents/common/Options.h"

namespace LabelClientAgent {

struct Options : Agents::CommonOptions {
  std::string client;         ///< by which the label manager knows it
  std::set<std::string> ids;  ///< one for each block that it wants
  bool json = false;          ///< each line is an object
  bool withdraw = false;      ///< gives back what the client has, then ends
};

/// Reads the command line. When there is nothing to run, after --help or an error, prints what is
/// to be said and returns nothing; `exitCode` is then set.
std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode);

}  // namespace LabelClientAgent
