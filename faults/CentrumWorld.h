/// One run of the simulation: a server, the processes that share state through it, and what befalls
/// them. The same number gives the same run.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "faults/SimProcess.h"
#include "faults/SimServer.h"

namespace CentrumSim {

class World {
 public:
  explicit World(std::uint32_t seed);
  ~World();

  /// What went wrong; empty when nothing did.
  std::string run();
  const Stage& stage() const { return stage_; }
  unsigned serverStarts() const { return server_.starts(); }

 private:
  std::uint32_t random(std::size_t bound) {
    return stage_.network.random(static_cast<std::uint32_t>(bound));
  }
  void step();
  void disturbOwners();
  void disturbReader(Reader& reader);
  void disturbNetwork();
  void takeOver();
  void settle();
  bool settled() const;
  void compare();

  Stage stage_;
  SimServer server_;
  std::vector<std::unique_ptr<Writer>> writers_;
  std::unique_ptr<Writer> heir_;  // takes over what the first writer owns
  std::vector<std::unique_ptr<Reader>> readers_;
  std::vector<Process*> all_;
};

}  // namespace CentrumSim
