/// Follows what is looked at again and again: tells which records came, changed or went. For what
/// is small, and announces no changes of its own or too many of them.
///
/// Thread    one.
/// Cost      each look that of all records.
/// Memory    the text of each record.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tools/mplsctl/WatchOutput.h"

namespace MplsCtl {

class SnapshotWatch {
 public:
  using Visit = std::function<void(const Record& record)>;
  using Texts = std::vector<std::string>;

  explicit SnapshotWatch(const Options& options) : options_(options), out_(options) {}

  /// `each` hands over all records that there are; of several with one key the first counts. The
  /// first look tells what is there at the start. Ages alone are no change.
  void look(const std::function<void(const Visit& visit)>& each);
  /// How many records the last look met.
  std::size_t size() const { return known_.size(); }

 private:
  struct Known {
    const RecordType* type;
    Texts cells;         // as people read them; empty ones have no value
    std::uint64_t look;  // the last that met it
  };

  void handle(const Record& record);
  void handleMet(const Record& record, const std::string& name, Texts cells, Known& known);
  void removeUnmet();

  const Options& options_;
  WatchOutput out_;
  std::map<std::string, Known> known_;  // by name: kind and key
  std::uint64_t looks_ = 0;
};

/// Seconds between looks: --interval, or one.
double lookInterval(const Options& options);

}  // namespace MplsCtl
