/// The command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace StaticRoutes {

/// What one file is called, and where it is.
struct InputOption {
  std::string name;
  std::string file;
};

/// The name of the static input; no dynamic one may be called so.
inline const std::string staticName = "static";

struct Options {
  std::string staticFile;           ///< empty: there is none
  std::vector<InputOption> inputs;  ///< the dynamic ones
  std::uint32_t metric = 100;       ///< 0 to 255
  bool watch = false;
  bool json = false;
  std::string trace;     ///< as for Forma::traceLevelsIs
  std::string ringFile;  ///< empty: the ring trace stays in memory
};

/// Exit codes.
constexpr int exitGood = 0;
constexpr int exitRefused = 1;  ///< some of the input was refused
constexpr int exitUsage = 2;    ///< wrong usage, or a file that cannot be read

/// Reads the command line. When there is nothing to run, after --help or an error, prints what is
/// to be said and returns nothing; `exitCode` is then set.
std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode);

}  // namespace StaticRoutes
