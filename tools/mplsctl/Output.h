/// What a command prints: a table or JSON of the records that it hands over, and facts beside them.
///
///   {"object": "label", "verb": "show", FACTS, "records": [{...}, ...], MORE FACTS}
///
/// For people, facts are lines, and records of each type are a table. Records are printed as they
/// come, unless they are to be sorted.
///
/// Thread    one.
/// Errors    raises std::ios::failure when the standard output cannot be written.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "agents/common/JsonWriter.h"
#include "tools/mplsctl/BackgroundWriter.h"
#include "tools/mplsctl/Options.h"
#include "tools/mplsctl/Progress.h"
#include "tools/mplsctl/RecordJson.h"
#include "tools/mplsctl/RecordTable.h"
#include "tools/mplsctl/Selection.h"

namespace MplsCtl {

class Output {
 public:
  /// `expected`: about how many records there will be, for the progress that is shown on a terminal
  /// when it takes over a second; 0: not known.
  explicit Output(const Options& options, std::size_t expected = 0);
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// A member of the document. Not shown to people.
  void fact(std::string_view key, const Agents::Json& value);
  /// A line for people. Bytes that are not printable are escaped.
  void line(std::string_view text);
  void redLine(std::string_view text);
  /// Both.
  void fact(std::string_view key, const Agents::Json& value, std::string_view text) {
    fact(key, value);
    line(text);
  }

  /// Shows a record, if it is wanted. Records of one type are to come together. Whether more are
  /// wanted.
  bool add(const Record& record);
  bool isFull() const { return count_ >= options_.limit; }
  /// How many were wanted so far.
  std::size_t count() const { return count_; }

  /// Ends the table under way, before lines that are to stand below it.
  void endTable();
  /// Ends the document, and writes out what is left.
  void end();
  /// The same; returns the exit code, which is `exitCode` unless `get` found nothing: that is told.
  int end(int exitCode);

 private:
  void show(const RecordView& record);
  void showSorted();
  void beginRecords();
  void member(std::string_view key, const Agents::Json& value);
  void flushIfLong();
  void flush();

  const Options& options_;
  const JsonForm form_;
  const bool colour_;
  const bool isOnTerminal_;
  Text out_;
  std::unique_ptr<BackgroundWriter> writer_;  // when there is much
  const RecordType* type_ = nullptr;
  std::unique_ptr<RecordTable> table_;
  RecordList held_;                                          // to be sorted
  std::vector<std::pair<std::string, Agents::Json>> later_;  // facts that came among records
  bool hasRecords_ = false;
  bool isFirstMember_ = true;
  bool isFirstRecord_ = true;
  bool isFlushed_ = false;
  std::size_t count_ = 0;
  Progress progress_;
};

/// Says below a table who publishes something no more, "PATH: NAME is gone since 3.2 s" for each:
/// as a member "gone", and with `meaning` for people.
void tellGone(Output& out, const std::vector<std::string>& gone, std::string_view meaning);

/// Whether what goes to that descriptor is to be coloured.
bool isColoured(const Options& options, int fd);

}  // namespace MplsCtl
