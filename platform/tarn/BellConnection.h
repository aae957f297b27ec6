/// The reader's end of the doorbell. Private to platform/tarn.
///
/// Thread    that of the loop, which must outlive it.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/kiln/EventLoop.h"
#include "platform/tarn/PrivateFd.h"

namespace Tarn {

class BellConnection {
 public:
  enum class Event { rung, over };
  /// Called from the loop; may destroy the connection.
  using Handler = std::function<void(Event)>;

  /// Connects to writer.sock in the directory that `directory` is a descriptor of, and `path` the
  /// path. None, and errno says why, when that fails: ENOENT and ECONNREFUSED when nobody writes.
  static std::unique_ptr<BellConnection> open(Kiln::EventLoop& loop, int directory,
                                              const std::string& path, Handler handler);
  BellConnection(Kiln::EventLoop& loop, Kiln::Fd socket, Handler handler);
  ~BellConnection();
  BellConnection(const BellConnection&) = delete;
  BellConnection& operator=(const BellConnection&) = delete;

  /// Asks to be rung again. What changed before is not rung for: look after this.
  void answer();
  /// The writer's process; 0 when it lives in a container of its own.
  int peer() const;

 private:
  void hear();

  Kiln::EventLoop& loop_;
  const Handler handler_;
  const PrivateFd socket_;
};

}  // namespace Tarn
