/// All commands of mplsctl: what the command line, help, completion and the manual page are made
/// of.
#pragma once

#include <span>

#include "tools/mplsctl/Options.h"
#include "tools/mplsctl/Selection.h"

namespace MplsCtl {

struct Entry {
  const char* object;
  const char* objectText;  ///< at its first entry
  const char* verb;
  const char* text;
  Command command;
  RecordTypes (*types)() = nullptr;  ///< what it shows; none: it has no records to choose from
  void (*describe)(CLI::App& app, Options& options) = nullptr;  ///< further options
};

/// In the order of help, all of one object together.
std::span<const Entry> entries();

// Each in a source file of its own.
int dbShow(const Options& options);
int dbWatch(const Options& options);
int labelPlan(const Options& options);
int labelShow(const Options& options);
int labelWatch(const Options& options);
int ldpShow(const Options& options);
int ldpWatch(const Options& options);
int lfibGet(const Options& options);
int lfibLookups(const Options& options);
int lfibShow(const Options& options);
int lfibUnprogrammed(const Options& options);
int lfibWatch(const Options& options);
int routeConflicts(const Options& options);
int routeShow(const Options& options);
int routeWatch(const Options& options);
int srShow(const Options& options);
int srWatch(const Options& options);
int stat(const Options& options);
int tableShow(const Options& options);
int tableWatch(const Options& options);
int traceShow(const Options& options);
int verify(const Options& options);

// What they show.
RecordTypes dbTypes();
RecordTypes labelPlanTypes();
RecordTypes labelTypes();
RecordTypes labelWatchTypes();
RecordTypes ldpTypes();
RecordTypes ldpWatchTypes();
RecordTypes lfibTypes();
RecordTypes lookupTypes();
RecordTypes unprogrammedTypes();
RecordTypes routeTypes();
RecordTypes routeWatchTypes();
RecordTypes conflictTypes();
RecordTypes srTypes();
RecordTypes statTypes();
RecordTypes tableTypes();
RecordTypes traceTypes();
RecordTypes verifyTypes();

}  // namespace MplsCtl
