/// What directories of tables report to a command that reads them. While it waits for tables, what
/// is missing is kept, to be told if it does not come; damage is told in any case.
///
/// Thread    that of the directories, which it must outlive.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/tarn/TableView.h"
#include "tools/mplsctl/Options.h"

namespace MplsCtl {

class TableReports {
 public:
  explicit TableReports(const Options& options) : options_(options) {}
  TableReports(const TableReports&) = delete;
  TableReports& operator=(const TableReports&) = delete;

  /// For the tables in a directory.
  Tarn::Report of(const std::string& directory);
  /// They are all there: what is reported from now on is told at once.
  void attached();
  /// They are not: tells what was reported, and of directories of which that is not enough, `hint`.
  void tellMissing(const std::vector<std::string>& directories, std::string_view hint);
  /// That of what was told: damage, or something cannot be opened, or neither.
  int exitCode() const { return exitCode_; }

 private:
  using Kept = std::pair<std::string, std::string>;  // directory and text

  void handle(const std::string& directory, const std::string& text);

  const Options& options_;
  bool isAwaiting_ = true;
  int exitCode_ = 0;
  std::vector<Kept> kept_;
};

}  // namespace MplsCtl
