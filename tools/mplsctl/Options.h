/// The command line, and the commands that it names.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "agents/common/Options.h"
#include "agents/common/Paths.h"

namespace MplsCtl {

struct Options : Agents::CommonOptions {
  bool json = false;
  double timeout = 5.0;  ///< seconds to wait for what is to be shown
  std::string run = Agents::defaultRun;
  std::string lfib;                ///< directory of LFIB tables; empty: all that are in `run`
  std::string forwarding;          ///< directory of the forwarding agent; empty: that in `run`
  std::string tables;              ///< of `ldp` and `sr`; empty: that of the instance in `run`
  std::string instance;            ///< of `ldp` and `sr`
  std::string file;                ///< of `ldp verify`
  std::uint32_t label = 0;         ///< of `lfib get`
  std::optional<unsigned> metric;  ///< the same; without: any
  std::uint32_t rangeBase = 0;     ///< of `label plan`
  std::uint32_t rangeSize = 0;     ///< the same
};

/// Runs a command; returns the exit code. Raises std::ios::failure when the standard output cannot
/// be written.
using Command = int (*)(const Options& options);

/// Each in a source file of its own.
int routeShow(const Options& options);
int routeConflicts(const Options& options);
int routeWatch(const Options& options);
int dbShow(const Options& options);
int lfibShow(const Options& options);
int lfibGet(const Options& options);
int lfibWatch(const Options& options);
int lfibLookups(const Options& options);
int lfibUnprogrammed(const Options& options);
int labelShow(const Options& options);
int labelWatch(const Options& options);
int labelPlan(const Options& options);
int ldpShow(const Options& options);
int ldpWatch(const Options& options);
int ldpVerify(const Options& options);
int srShow(const Options& options);
int tableShow(const Options& options);

/// Reads the command line. When there is nothing to run, after --help or an error, prints what is
/// to be said and returns null; `exitCode` is then set.
Command commandFrom(int argc, const char* const* argv, Options& options, int& exitCode);

}  // namespace MplsCtl
