/// Connections between processes, as the central database needs them: behind interfaces, so that
/// server and clients run unchanged over Unix sockets (UnixStream.h) and in a simulated network.
///
/// Thread    that of the event loop.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Export.h"

namespace Centrum {

/// Who is at the other end, as the kernel tells.
struct Peer {
  pid_t pid = 0;
  uid_t uid = 0;
  gid_t gid = 0;
  std::vector<gid_t> groups;  ///< supplementary ones
};

/// One connection: bytes in order, both ways. Destroying it closes it.
class MPLS_EXPORT Stream {
 public:
  using Handler = std::function<void()>;
  struct Received {
    std::size_t count = 0;  ///< bytes; 0: none at present
    bool closed = false;    ///< none will ever come again: the peer went, or the connection broke
  };

  Stream() = default;
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  virtual ~Stream();

  /// Takes up to `size` bytes that have arrived. A count less than `size` means that there were no
  /// more at that moment.
  virtual Received read(char* to, std::size_t size) = 0;
  /// Hands over the first of `bytes`, and returns how many; fewer than all when the peer does not
  /// read fast enough: onWritable is called when it takes more. What is written to a connection
  /// that broke vanishes; read() tells.
  virtual std::size_t write(std::string_view bytes) = 0;
  /// Called in the loop while there is something to read, the end included. A handler may destroy
  /// the stream.
  virtual void onReadableIs(Handler handler) = 0;
  /// Called once in the loop when the stream takes bytes again after it had not taken all.
  virtual void onWritableIs(Handler handler) = 0;
  /// True when the peer has closed its end, even when bytes are still to be read.
  virtual bool peerGone() const = 0;
  virtual const Peer& peer() const = 0;
};

/// Makes connections to one server.
class MPLS_EXPORT Connector {
 public:
  virtual ~Connector();
  /// A new connection; null when nobody listens at present: problem() says why.
  virtual std::unique_ptr<Stream> connect() = 0;
  /// Why the last connect() gave null: what was tried, and what the kernel said.
  virtual const std::string& problem() const = 0;
  /// Where the server is, for messages.
  virtual std::string address() const = 0;
};

/// Takes connections.
class MPLS_EXPORT Listener {
 public:
  using Accept = std::function<void(std::unique_ptr<Stream>)>;
  virtual ~Listener();
  /// Calls `accept` in the loop for each new connection.
  virtual void onAcceptIs(Accept accept) = 0;
  /// Whether that peer may write: it runs as root or as the server's user, or belongs to the group
  /// of the socket.
  virtual bool mayWrite(const Peer& peer) const = 0;
  /// The right that mayWrite asks for, in words ("group mpls (gid 123) of the socket").
  virtual std::string neededRight() const = 0;
};

}  // namespace Centrum
