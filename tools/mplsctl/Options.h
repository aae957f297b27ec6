/// The command line, and the commands that it names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "agents/common/Options.h"
#include "agents/common/Paths.h"
#include "tools/mplsctl/Selection.h"

namespace MplsCtl {

struct Options : Agents::CommonOptions {
  enum class Colour { automatic, always, never };

  // What was asked.
  std::string object;  ///< "lfib"
  std::string verb;    ///< "show"
  RecordTypes types;   ///< of what the command shows

  // How it is shown.
  bool json = false;
  bool pretty = false;  ///< JSON for people
  Colour colour = Colour::automatic;
  std::string sort;             ///< a key, with a '-' before it for descending; empty: as it comes
  std::vector<Filter> filters;  ///< all are to hold
  std::size_t limit = std::numeric_limits<std::size_t>::max();
  bool count = false;      ///< how many records only
  bool noInitial = false;  ///< of `watch`: only what changes from now on

  // Where to look.
  double timeout = 5.0;  ///< seconds to wait for what is to be shown
  std::string run = Agents::defaultRun;
  std::string lfib;        ///< directory of LFIB tables; empty: all that are in `run`
  std::string forwarding;  ///< directory of the forwarding agent; empty: that in `run`
  std::string tables;      ///< of `ldp` and `sr`; empty: that of the instance in `run`
  std::string instance;    ///< of `ldp` and `sr`

  // Of one command.
  std::string file;         ///< of `ldp verify` and `trace show`
  std::string agent;        ///< of `trace show`
  bool follow = false;      ///< the same
  std::size_t last = 0;     ///< the same: so many lines; 0: all
  double interval = 0;      ///< seconds between looks; 0: of `stat` one look, of `watch` one second
  std::uint64_t times = 0;  ///< the same: so many looks; 0: for ever
  std::vector<std::string> key;    ///< of `get`: the first columns of a record
  std::uint32_t label = 0;         ///< of `lfib get`
  std::optional<unsigned> metric;  ///< the same; without: any
  std::uint32_t rangeBase = 0;     ///< of `label plan`
  std::uint32_t rangeSize = 0;     ///< the same
};

/// Runs a command; returns the exit code. Raises std::ios::failure when the standard output cannot
/// be written.
using Command = int (*)(const Options& options);

/// Reads the command line. When there is nothing to run, after --help or an error, prints what is
/// to be said and returns null; `exitCode` is then set.
Command commandFrom(int argc, const char* const* argv, Options& options, int& exitCode);

}  // namespace MplsCtl
