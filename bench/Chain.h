/// A writer, a server and a reader, each a process: what one replication system is measured as.
/// Rows are changed in a random order.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/Processes.h"
#include "bench/Row.h"

namespace Bench {

/// Commands of writers and readers: `count` rows get the generation `generation`.
enum Task : std::uint32_t {
  writeTask,  ///< as fast as possible
  paceTask    ///< a thousand a second
};
constexpr std::uint64_t paceInterval = 1'000'000;  // nanoseconds

/// The keys below `count` in an order that depends on the generation.
std::vector<std::uint32_t> shuffledKeys(std::uint32_t count, std::uint64_t generation);

/// What a reader has heard of a task. Raises std::runtime_error unless each key comes once, with
/// the right generation.
class Tally {
 public:
  void expect(const Command& command);
  void heard(RowKey key, std::uint64_t generation, std::uint64_t stamp);
  void heard(RowKey key, const Row& row) { heard(key, row.generation(), row.stamp()); }
  bool complete() const { return heard_ == task_.count; }
  /// The reader's answer: when all was heard, median and 99th percentile of the times between
  /// change and hearing (0 unless paced).
  Answer answer();

 private:
  Command task_;
  std::uint32_t heard_ = 0;
  std::uint64_t end_ = 0;
  std::vector<bool> keys_;     // which were heard of
  std::vector<double> times_;  // nanoseconds
};

/// Calls `change(key, row)` for each change of the task, at its pace, and returns the writer's
/// answer: when the first was made, and when the last was flushed. `flush` follows each of a paced
/// task, and the last.
template <class Change, class Flush>
Answer makeChanges(const Command& task, Change change, Flush flush) {
  const std::vector<std::uint32_t> keys = shuffledKeys(task.count, task.generation);
  const std::uint64_t begin = now();
  std::uint64_t due = begin;
  for (const std::uint32_t key : keys) {
    if (task.what == paceTask) sleepUntil(due += paceInterval);
    change(key, Row(task.generation, now()));
    if (task.what == paceTask) flush();
  }
  flush();
  return {static_cast<double>(begin), static_cast<double>(now())};
}

/// The start of a worker whose commands a Role handles, which is made from `argument`.
template <class Role>
auto roleOf(std::string argument) {
  return [argument = std::move(argument)]() -> Worker::Handler {
    return [role = std::make_shared<Role>(argument)](const Command& task) {
      return role->handle(task);
    };
  };
}

/// Times of a paced task, in nanoseconds.
struct Latency {
  double median;
  double p99;
};

class Chain {
 public:
  virtual ~Chain() = default;
  /// Changes `count` rows and returns the nanoseconds, per row, until the reader has them all. What
  /// was never written before is inserted.
  double write(std::uint32_t count);
  /// Changes `count` rows, one every millisecond.
  Latency pace(std::uint32_t count);

  Process& server() { return *server_; }
  Worker& writer() { return *writer_; }
  Worker& reader() { return *reader_; }
  /// That of the newest rows.
  std::uint64_t generation() const { return generation_; }
  /// A name in the chain's folder.
  std::string path(std::string_view file) const { return scratch_.path(file); }

 protected:
  Scratch scratch_;
  std::unique_ptr<Process> server_;
  std::unique_ptr<Worker> writer_;
  std::unique_ptr<Worker> reader_;

 private:
  std::uint64_t generation_ = 0;
};

}  // namespace Bench
