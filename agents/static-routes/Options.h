/// The command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agents/common/Options.h"

namespace StaticRoutes {

/// What one file is called, and where it is.
struct InputOption {
  std::string name;
  std::string file;
};

/// The name of the static input; no dynamic one may be called so.
inline const std::string staticName = "static";

struct Options : Agents::CommonOptions {
  std::string staticFile;           ///< empty: there is none
  std::vector<InputOption> inputs;  ///< the dynamic ones
  std::uint32_t metric = 100;       ///< 0 to 255
  bool watch = false;
  bool json = false;
};

/// Reads the command line. When there is nothing to run, after --help or an error, prints what is
/// to be said and returns nothing; `exitCode` is then set.
std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode);

}  // namespace StaticRoutes
