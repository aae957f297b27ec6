/// Connections that a benchmark can cut.
///
/// Thread    that of the event loop.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/centrum/Stream.h"
#include "platform/kiln/EventLoop.h"

namespace Bench {

class GatedStream;

/// Open at first. Must outlive what it connects.
class Gate {
 public:
  explicit Gate(Kiln::EventLoop& loop) : loop_(loop) {}

  /// Cuts the connection; the next one can be made after open().
  void close();
  void open() { open_ = true; }
  bool isOpen() const { return open_; }
  /// When the newest connection was made, by Bench::now().
  std::uint64_t connectedAt() const { return connectedAt_; }

  /// Makes connections by `inner` while the gate is open.
  std::unique_ptr<Centrum::Connector> connector(std::unique_ptr<Centrum::Connector> inner);

 private:
  friend class GatedStream;
  friend class GatedConnector;
  Kiln::EventLoop& loop_;
  bool open_ = true;
  GatedStream* stream_ = nullptr;  // the connection, while there is one
  std::uint64_t connectedAt_ = 0;
};

}  // namespace Bench
