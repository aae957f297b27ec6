/// Reads the LFIB tables of one or several directories, whether their writers live or not.
///
/// Thread    one.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "agents/common/Log.h"
#include "platform/kiln/EventLoop.h"
#include "platform/tarn/ReaderDirectory.h"
#include "tools/mplsctl/LfibView.h"
#include "tools/mplsctl/Options.h"

namespace MplsCtl {

/// The tables of one directory.
class LfibDirectory {
 public:
  /// One that follows hears of changes through `lfib`; else its rows can be looked up.
  LfibDirectory(Kiln::EventLoop& loop, const std::string& path, bool follow, Tarn::Report report);

  const std::string& path() const { return tables_.path(); }
  const Mpls::LfibStatus& lfib() const { return *lfib_; }
  const Forma::Ptr<Mpls::LfibStatus>& lfibPtr() const { return lfib_; }
  Tarn::ReaderDirectory& tables() { return tables_; }
  /// Whether all tables that routes need are there.
  bool isAttached() const;
  /// "writer lfib-writer (pid 12)", or "no writer since 3.2 s, was lfib-writer (pid 12)".
  std::string writerText() const;
  /// {"directory", "writer": {"agent", "pid", "present", "goneSeconds"}}
  Agents::Json json() const;

 private:
  Tarn::ReaderDirectory tables_;
  const Forma::Ptr<Mpls::LfibStatus> lfib_;
};

class LfibReader {
 public:
  /// Looks at --lfib, or else at all directories in that of --run for LFIBs.
  LfibReader(const Options& options, bool follow);

  Kiln::EventLoop& loop() { return loop_; }
  Agents::Log& log() { return log_; }
  const std::vector<std::unique_ptr<LfibDirectory>>& directories() const { return directories_; }

  /// Waits until all directories are attached, as long as the options say; if that does not come,
  /// says why and what to do.
  bool await();
  /// Runs until a signal. Returns the exit code; raises what left a handler.
  int run();
  /// The exit code of a command that showed something: damage was met, or not.
  int exitCode() const;
  /// The keys of the routes of a directory, in order: all that is kept of a table in memory.
  static std::vector<Mpls::RouteKey> keysOf(const LfibDirectory& directory);
  /// Prints a line for the directory, and a table of its routes.
  static void print(std::ostream& out, const LfibDirectory& directory);

 private:
  void handleReport(const std::string& text);

  const Options options_;
  Agents::Log log_;
  Kiln::EventLoop loop_;
  std::exception_ptr failure_;
  bool isAwaiting_ = true;
  bool isDamaged_ = false;
  std::vector<std::string> reports_;  // while waiting
  std::vector<std::unique_ptr<LfibDirectory>> directories_;
};

}  // namespace MplsCtl
