/// Reads the LFIB tables of one or several directories, whether their writers live or not.
///
/// Thread    one.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "agents/common/JsonWriter.h"
#include "platform/kiln/EventLoop.h"
#include "platform/tarn/ReaderDirectory.h"
#include "tools/mplsctl/LfibView.h"
#include "tools/mplsctl/Options.h"
#include "tools/mplsctl/TableReports.h"

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
  const std::vector<std::unique_ptr<LfibDirectory>>& directories() const { return directories_; }

  /// Waits until all directories are attached, as long as the options say; if that does not come,
  /// says why and what to do.
  bool await();
  /// Runs until a signal. Returns the exit code; raises what left a handler.
  int run();
  /// The exit code so far: damage was met, or tables are missing, or neither.
  int exitCode() const { return reports_.exitCode(); }
  /// What is known of each directory: [{"directory", "writer"}].
  Agents::Json json() const;
  /// "DIR: 2 routes; writer lfib-writer (pid 12)"
  static std::string titleOf(const LfibDirectory& directory);

 private:
  const Options& options_;
  TableReports reports_;
  Kiln::EventLoop loop_;
  std::exception_ptr failure_;
  std::vector<std::unique_ptr<LfibDirectory>> directories_;
};

}  // namespace MplsCtl
