/// Processes of a benchmark: forked, each on a core of its own and, run by root, ahead of ordinary
/// processes; commanded over a channel.
///
/// Thread    the benchmark's only one.
/// Errors    std::system_error when the kernel refuses, std::runtime_error when a process died or
///           did not answer; what a process throws goes to the standard error output and ends it.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Bench {

/// Nanoseconds of CLOCK_MONOTONIC: the same in all processes.
std::uint64_t now();
void sleepUntil(std::uint64_t time);

/// Raises std::system_error with errno when `ok` does not hold.
void require(bool ok, const char* what);

/// The core on which a process runs, if the machine has that many.
enum Core : unsigned { writerCore = 0, serverCore = 1, readerCore = 2, otherCore = 3 };

/// A forked process, killed when this is destroyed.
class Process {
 public:
  /// Runs `body` in the child, which is called `name` by perf and ps, and ends with it.
  Process(const char* name, Core core, const std::function<void()>& body);
  virtual ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  pid_t pid() const { return pid_; }
  /// Processor time that it has used, in seconds.
  double cpuTime() const;
  /// Bytes of memory that it holds at present.
  std::size_t memory() const;

 private:
  pid_t pid_;
};

/// What replaces the child by a program; its output is dropped.
std::function<void()> program(std::vector<std::string> arguments);

/// What a worker is to do.
struct Command {
  std::uint32_t what = 0;
  std::uint32_t count = 0;
  std::uint64_t generation = 0;
};
using Answer = std::array<double, 4>;

/// A process that answers commands, one after the other.
class Worker : public Process {
 public:
  using Handler = std::function<Answer(const Command&)>;
  /// `start` runs in the child; what it returns answers the commands.
  Worker(const char* name, Core core, const std::function<Handler()>& start);
  ~Worker() override;

  void post(const Command& command);
  /// Waits for the answer to the oldest command that is not yet answered.
  Answer wait();
  Answer call(const Command& command);

 private:
  struct Ends {
    int ours;
    int theirs;
  };
  Worker(const char* name, Core core, const std::function<Handler()>& start, Ends ends);
  int channel_;
};

/// A folder of its own in memory, removed at the end.
class Scratch {
 public:
  Scratch();
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  std::string path(std::string_view file) const { return path_ + "/" + std::string(file); }

 private:
  std::string path_;
};

}  // namespace Bench
