/// Subscribers of the rows, in processes of their own.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>

#include "bench/Processes.h"

namespace Bench {

/// A process of `subscribers` that read as fast as they can and keep nothing. Each command ends
/// when all of them have heard of as many changes as it says.
std::unique_ptr<Worker> sinks(const std::string& socket, std::size_t subscribers);

/// A process that mounts the rows, without waiting for that. Each command ends when all rows are
/// there, of the generation that it says.
std::unique_ptr<Worker> follower(const std::string& socket);

/// A process between one client and the server, which hands on 1 kB/s of what the server says until
/// the limit is lifted.
class Throttle {
 public:
  /// Listens at `socket`.
  Throttle(const std::string& socket, const std::string& server);
  ~Throttle();
  void lift();

 private:
  std::array<int, 2> control_;
  std::unique_ptr<Process> process_;
};

}  // namespace Bench
