/// What a command that follows prints: for people a line for each event, with --json a JSON line:
///
///   {"seq": 1, "time": "2026-01-31T12:00:00.000000Z", "op": "added", "kind": "route",
///    "key": {...}, "old": {...}, "new": {...}}
///
/// What is there at the start has op "initial", then one "sync" follows; --no-initial leaves both
/// out. People are told of changes alone.
///
/// Thread    one.
/// Errors    raises std::ios::failure when the standard output cannot be written.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "tools/mplsctl/Options.h"
#include "tools/mplsctl/Record.h"

namespace MplsCtl {

class WatchOutput {
 public:
  explicit WatchOutput(const Options& options) : options_(options) {}
  WatchOutput(const WatchOutput&) = delete;
  WatchOutput& operator=(const WatchOutput&) = delete;

  /// What is there at the start.
  void initial(const Record& record);
  /// All of it was told.
  void sync();
  /// A record came, or is another now: what it was is remembered. `line` is for people.
  void changed(std::string_view op, const Record& record, std::string_view line);
  /// A record went: the one with those first cells.
  void removed(std::string_view op, const Record& key, std::string_view line);
  /// A record went without being told.
  void forget(const Record& key);
  /// To be called at the end of a turn.
  void flush();

 private:
  bool isMeant(const Record& record) const;
  void print(std::string_view op, std::string_view kind, std::string_view key, std::string_view old,
             std::string_view now);
  void line(std::string_view text);

  const Options& options_;
  std::uint64_t sequence_ = 0;
  std::string out_;
  std::string key_, now_;  // of the event at hand
  /// With --json what was last told of each record, by kind and key.
  std::map<std::string, std::string, std::less<>> known_;
};

}  // namespace MplsCtl
