/// The command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agents/common/Options.h"
#include "agents/ldp-agent/FollowedFile.h"

namespace LdpAgent {

struct Options : Agents::CommonOptions {
  std::string router;                ///< folder of a recorded router; or else:
  std::string bindings;              ///< file of bindings
  LdpIdentifier routerId;            ///< of the file
  std::vector<NeighborHop> hops;     ///< to the neighbours in the file
  std::string linkReadyPath;         ///< in the database
  std::string tables;                ///< directory of the LDP tables
  std::string lfib;                  ///< directory of the LFIB
  std::uint64_t until = UINT64_MAX;  ///< how many messages of the recording are taken
  double pace = 0;                   ///< messages a second; 0: at once
  Agents::TableOptions tableOptions;
};

/// Reads the command line. When there is nothing to run, after --help or an error, prints what is
/// to be said and returns nothing; `exitCode` is then set.
std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode);

}  // namespace LdpAgent
