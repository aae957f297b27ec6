/// The server of the simulation, which can be killed: at any moment between two turns, and within a
/// write to its log.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "faults/SimProcess.h"
#include "platform/centrum/Server.h"

namespace CentrumSim {

class SimServer {
 public:
  explicit SimServer(Stage& stage) : stage_(stage) {}

  void start();
  void kill();
  /// Starts it or kills it, as chance has it.
  void disturb();
  /// It runs, and is not killed any more.
  void settle();
  unsigned starts() const { return starts_; }
  /// Called when it died within a write: others may go with it.
  std::function<void()> onPowerCut;

 private:
  class Log;

  Stage& stage_;
  std::string disk_;         // the log
  unsigned writesLeft_ = 0;  // until it is killed within one; 0: it is not
  unsigned starts_ = 0;
  std::unique_ptr<Centrum::Server> server_;
};

}  // namespace CentrumSim
