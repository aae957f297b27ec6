/// How far a command is that takes its time: a line on the standard error, which is rewritten in
/// place. Only on a terminal, and not within the first second.
///
/// Thread    one.
/// Cost      add() may be called for each row: it looks at the clock once in some thousand calls.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace MplsCtl {

class Progress {
 public:
  Progress();
  /// Takes the line away.
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// What is looked at from now on, such as "layout of run/lfib/static/viaSet", and about how many
  /// rows that has.
  void begin(std::string what, std::uint64_t total);
  /// That so many more of them are done.
  void add(std::uint64_t rows = 1) {
    if ((done_ += rows) >= next_) tell();
  }
  /// Takes the line away, before others are written there.
  void clear();
  /// The same, and tells no more.
  void stop() {
    clear();
    isShown_ = false;
  }

 private:
  void tell();

  bool isShown_;
  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  std::chrono::steady_clock::time_point told_ = begin_;
  std::string what_;
  std::uint64_t total_ = 0;
  std::uint64_t done_ = 0;
  std::uint64_t next_ = 0;  // at how many the clock is looked at
  bool isLineThere_ = false;
};

}  // namespace MplsCtl
