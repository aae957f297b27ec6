/// Our own chain: an entity with a collection of rows, changed by an agent, kept by the server and
/// its log, and mounted by another agent, whose notifiee reads each changed row.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "bench/Chain.h"

namespace Bench {

class CentrumChain : public Chain {
 public:
  CentrumChain();
  std::string socket() const { return path("socket"); }
  std::string log() const { return path("log"); }
};

/// Where the rows are.
constexpr std::string_view rowsPath = "bench/rows";

/// A server process that listens at `socket` and keeps its log at `log`.
std::unique_ptr<Process> centrumServer(const std::string& socket, const std::string& log);

}  // namespace Bench
