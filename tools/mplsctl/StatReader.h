/// Counts tables, labels and the database, and how fast they change from one look to the next.
///
/// Thread    that of the program's loop.
/// Writers   are not disturbed: of tables the heads are read, which no writer waits for.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "platform/centrum/ServerStatus.h"
#include "tools/mplsctl/LabelReader.h"
#include "tools/mplsctl/Record.h"
#include "tools/mplsctl/Selection.h"
#include "tools/mplsctl/TableFiles.h"

namespace MplsCtl {

class StatReader {
 public:
  /// For the object of the options: one of tables, "label", "db", or "stat" for all. The program
  /// must outlive it.
  StatReader(Agents::Program& program, const Options& options);

  /// Waits for what the object needs of the database; if it does not come, says what is missing.
  /// What `stat` finds there or not is no reason to fail.
  bool await();
  /// Looks, and calls `visit` for each record. The first look has no rates.
  void look(const std::function<void(const Record& record)>& visit);

  /// Of the tables that the last look met: as of `table show`.
  int exitCode() const { return exitCode_; }

  static RecordTypes types();

 private:
  using Clock = std::chrono::steady_clock;

  bool wants(const std::string& object) const { return isAll_ || options_.object == object; }
  void lookAtTables(const std::function<void(const Record&)>& visit);
  void lookAtLabels(const std::function<void(const Record&)>& visit);
  void lookAtDatabase(const std::function<void(const Record&)>& visit);
  void addRate(Record& record, const std::string& what, std::uint64_t count);

  Agents::Program& program_;
  const Options& options_;
  const bool isAll_;
  std::unique_ptr<LabelReader> labels_;          // null when they are not asked for
  Forma::Ptr<Centrum::Status> status_;           // null until it is mounted
  bool hasLabels_ = false;                       // they are all read
  std::map<std::string, std::uint64_t> counts_;  // of the look before
  int exitCode_ = 0;
  Clock::time_point now_;  // of this look
  double sinceLast_ = 0;   // seconds; 0: this is the first look
};

}  // namespace MplsCtl
