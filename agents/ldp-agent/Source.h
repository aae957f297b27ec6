/// Where an LDP agent has its bindings from.
///
/// Thread    that of the agent.
#pragma once

#include <string>
#include <vector>

namespace LdpAgent {

class Source {
 public:
  Source() = default;
  virtual ~Source() = default;
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  /// Takes the next message; false, and nothing is changed, when there is none.
  virtual bool step() = 0;
  /// Reads what its files hold now. Raises std::exception, and is as before, when it cannot.
  virtual void readMore() = 0;
  virtual std::vector<std::string> paths() const = 0;
};

}  // namespace LdpAgent
