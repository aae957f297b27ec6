#include "faults/SimServer.h"

namespace CentrumSim {

/// The log of one run of the server; has no effect once that was killed.
class SimServer::Log final : public Centrum::LogFile {
 public:
  explicit Log(SimServer& of) : of_(of) {}
  std::string content() override { return of_.disk_; }
  void append(std::string_view bytes) override {
    if (dead_) return;
    if (dies()) bytes = bytes.substr(0, below(bytes.size() + 1));
    of_.disk_ += bytes;
  }
  void contentIs(std::string_view bytes) override {
    if (dead_ || (dies() && below(2) == 0)) return;
    of_.disk_ = bytes;
  }
  void remove() override { of_.stage_.fail("the log was given up"); }
  std::string name() const override { return "log"; }

 private:
  std::uint32_t below(std::size_t bound) {
    return of_.stage_.network.random(static_cast<std::uint32_t>(bound));
  }
  /// What the server does in the rest of the turn must have no effect: its connections are cut.
  bool dies() {
    if (of_.writesLeft_ == 0 || --of_.writesLeft_ != 0) return false;
    dead_ = true;
    of_.stage_.network.cutAll();
    of_.stage_.loop.post([&of = of_] {
      of.kill();
      if (of.stage_.chance(2)) of.onPowerCut();
    });
    return true;
  }
  SimServer& of_;
  bool dead_ = false;
};

void SimServer::start() {
  if (server_) return;
  Centrum::ServerOptions options;
  options.freshEpoch = ++starts_;
  if (!stage_.wholeTurns) options.chunkBytes = stage_.chance(3) ? 100 : 20000;
  if (stage_.chance(2)) options.snapshotsAtOnce = 1;
  options.report = [this](const std::string& text) { stage_.fail("the server reports " + text); };
  server_ = std::make_unique<Centrum::Server>(
      stage_.loop, stage_.network.listener(),
      stage_.keepsLog ? std::make_unique<Log>(*this) : nullptr, options);
}

void SimServer::kill() {
  writesLeft_ = 0;
  server_ = nullptr;
}

void SimServer::disturb() {
  if (!server_ || stage_.chance(2)) return start();
  if (stage_.keepsLog && stage_.chance(2)) writesLeft_ = 1 + stage_.network.random(5);
  else kill();
}

void SimServer::settle() {
  writesLeft_ = 0;
  start();
}

}  // namespace CentrumSim
