/// The command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "agents/common/Options.h"
#include "mpls/types/LabelRange.h"

namespace StaticRouteAgent {

struct Options : Agents::CommonOptions {
  std::string input;                ///< the one that is served
  std::string file;                 ///< empty: there is none, the input is empty
  std::uint32_t metric = 100;       ///< 0 to 255
  std::optional<bool> mplsRouting;  ///< none: stays as it is published
  /// The dynamic range, whatever the file says; none: that of the file.
  std::optional<Mpls::LabelRange> labelRange;
  bool once = false;  ///< ends when the database has everything

  bool isStatic() const { return input == "static"; }
  /// Where the input lies.
  std::string path() const;
};

/// Reads the command line. When there is nothing to run, after --help or an error, prints what is
/// to be said and returns nothing; `exitCode` is then set.
std::optional<Options> optionsFrom(int argc, const char* const* argv, int& exitCode);

}  // namespace StaticRouteAgent
