/// One run of the simulation: a server, the processes that share state through it, and what befalls
/// them. All is decided by the seed.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "faults/SimProcess.h"
#include "platform/centrum/Server.h"

namespace CentrumSim {

/// What a server that is killed leaves behind.
struct Disk {
  std::string log;
  unsigned writesLeft = 0;  // until the server is killed within one; 0: it is not
};

class World {
 public:
  explicit World(std::uint32_t seed);
  ~World();

  /// What went wrong; empty when nothing did.
  std::string run();
  const Stage& stage() const { return stage_; }
  unsigned serverStarts() const { return serverStarts_; }

 private:
  class DiskLog;

  std::uint32_t random(std::size_t bound) {
    return stage_.network.random(static_cast<std::uint32_t>(bound));
  }
  void startServer();
  void killServer();
  /// The server dies within a write to its log: nothing that it does from now on has any effect.
  void diesWriting();
  void step();
  void disturbServer();
  void disturbOwners();
  void disturbReader(Reader& reader);
  void disturbNetwork();
  void takeOver();
  void settle();
  bool settled() const;
  void compare();

  Stage stage_;
  Disk disk_;
  std::unique_ptr<Centrum::Server> server_;
  std::vector<std::unique_ptr<Writer>> writers_;
  std::unique_ptr<Writer> heir_;  // takes over what the first writer owns
  std::vector<std::unique_ptr<Reader>> readers_;
  std::vector<Process*> all_;
  unsigned serverStarts_ = 0;
};

}  // namespace CentrumSim
