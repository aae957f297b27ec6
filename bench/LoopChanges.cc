#include "bench/LoopChanges.h"

#include <stdexcept>

namespace Bench {
namespace {

constexpr std::size_t changesPerTurn = 1'000;
constexpr double patience = 30;  // seconds

}  // namespace

Answer LoopChanges::make(const Command& task) {
  task_ = task;
  keys_ = shuffledKeys(task.count, task.generation);
  done_ = 0;
  const auto begin = static_cast<double>(now());
  if (task.what == paceTask) changeAt(loop_.now());
  else loop_.post([this] { changeSome(); });
  if (!loop_.runUntil([this] { return done_ == keys_.size(); }, patience))
    throw std::runtime_error("never written");
  return {begin, static_cast<double>(now())};
}

/// One turn's worth, and the next in the next turn.
void LoopChanges::changeSome() {
  for (std::size_t i = 0; i < changesPerTurn && done_ < keys_.size(); ++i) changeOne();
  if (done_ < keys_.size()) loop_.post([this] { changeSome(); });
}

/// One at its time, and the next a while later.
void LoopChanges::changeAt(double due) {
  due += static_cast<double>(paceInterval) * 1e-9;
  loop_.timers().timerIs(due, [this, due] {
    changeOne();
    if (done_ < keys_.size()) changeAt(due);
  });
}

void LoopChanges::changeOne() {
  const std::uint32_t key = keys_[done_++];
  change_(key, Row(task_.generation, now()));
}

}  // namespace Bench
