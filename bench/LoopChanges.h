/// The changes of a task, made in the turns of an agent's loop.
///
/// Thread    that of the loop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "bench/Chain.h"
#include "platform/kiln/EventLoop.h"

namespace Bench {

class LoopChanges {
 public:
  using Change = std::function<void(RowKey key, const Row& row)>;
  LoopChanges(Kiln::EventLoop& loop, Change change) : loop_(loop), change_(std::move(change)) {}

  /// Makes all changes of a task, a thousand a turn or at its pace; answers when the first was made
  /// and when the last turn ended. Raises std::runtime_error when that takes too long.
  Answer make(const Command& task);

 private:
  void changeSome();
  void changeAt(double due);
  void changeOne();

  Kiln::EventLoop& loop_;
  Change change_;
  Command task_;
  std::vector<std::uint32_t> keys_;
  std::size_t done_ = 0;
};

}  // namespace Bench
