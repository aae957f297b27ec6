/// Writes to the standard output while its owner makes what follows: a fifth of the time of a long
/// listing is spent in the kernel.
///
/// Thread    one owns it and makes all calls; another, its own, writes.
/// Errors    what writing raised, a later call raises.
/// Memory    two texts: the one under way, and that of the owner.
#pragma once

#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

#include "tools/mplsctl/Text.h"

namespace MplsCtl {

/// Writes a text out, and empties it. Raises std::ios::failure.
void writeOut(Text& text);

class BackgroundWriter {
 public:
  BackgroundWriter() : thread_([this] { run(); }) {}
  /// Waits for what is under way.
  ~BackgroundWriter();
  BackgroundWriter(const BackgroundWriter&) = delete;
  BackgroundWriter& operator=(const BackgroundWriter&) = delete;

  /// Takes a text, and leaves an empty one. Waits until the one before is written.
  void write(Text& text);
  /// Waits until all is written.
  void wait();

 private:
  void run();
  void waitUntilWritten(std::unique_lock<std::mutex>& lock);

  std::mutex mutex_;
  std::condition_variable changed_;
  Text text_;  // of the thread while `isFull_`
  bool isFull_ = false;
  bool isEnding_ = false;
  std::exception_ptr failure_;
  std::thread thread_;  // uses all of the above
};

}  // namespace MplsCtl
