#include "bench/ServerLoad.h"

#include <cstdint>
#include <memory>
#include <string>

#include "bench/CentrumChain.h"
#include "bench/Subscribers.h"

namespace Bench {
namespace {

constexpr std::uint32_t rowCount = 10'000;
constexpr std::uint32_t bursts = 20;
constexpr std::size_t sinkCount = 19;  // beside the chain's own reader

class Measurement {
 public:
  Measurement() { change(); }

  ServerLoad take() {
    ServerLoad load{};
    load.cpuAlone = cpuPerChange() / 2;
    load.memoryAlone = memory();
    takeWithSlow(load);
    load.cpuAlone += cpuPerChange() / 2;  // before and after: the machine has moods
    return load;
  }

 private:
  void takeWithSlow(ServerLoad& load) {
    const std::string socket = chain_.path("throttled");
    Throttle throttle(socket, chain_.socket());
    const auto slow = follower(socket);
    load.cpuWithSlow = cpuPerChange();
    load.memoryWithSlow = memory();
    throttle.lift();
    slow->call({0, rowCount, chain_.generation()});
  }
  void change() {
    sinks_->post({0, rowCount, 0});
    chain_.write(rowCount);
    sinks_->wait();
  }
  double cpuPerChange() {
    change();  // whatever was left to do
    const double before = chain_.server().cpuTime();
    for (std::uint32_t i = 0; i < bursts; ++i) change();
    return (chain_.server().cpuTime() - before) * 1e9 / (double{bursts} * rowCount);
  }
  double memory() { return static_cast<double>(chain_.server().memory()); }

  CentrumChain chain_;
  std::unique_ptr<Worker> sinks_ = sinks(chain_.socket(), sinkCount);
};

}  // namespace

ServerLoad measureServerLoad() { return Measurement().take(); }

}  // namespace Bench
