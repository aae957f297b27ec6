/// A network in memory, for tests and fault runs: it delays, cuts into pieces, breaks, slows down
/// and freezes connections, at random but always alike for the same seed.
///
/// Server and clients run over it unchanged, in one loop; its clock (a TestClock, as a rule) tells
/// the time. Clients are known by the name that their connector was asked for: settings of a name
/// may be made before, and hold for all its connections, present and future.
///
/// Thread    that of the loop. Streams, connectors and listeners may outlive the network; the loop
///           must outlive all of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/centrum/Stream.h"
#include "platform/kiln/EventLoop.h"

class SimNetwork {
 public:
  /// Each piece of bytes travels for up to 2 ms, and a connection holds 64 KiB in each direction.
  SimNetwork(Kiln::EventLoop& loop, std::uint32_t seed);
  ~SimNetwork();
  SimNetwork(const SimNetwork&) = delete;
  SimNetwork& operator=(const SimNetwork&) = delete;

  std::unique_ptr<Centrum::Connector> connector(const std::string& name);
  /// One at a time; raises std::system_error (EADDRINUSE) for a second one. Clients cannot connect
  /// without, and those that wait to be accepted are dropped with it.
  std::unique_ptr<Centrum::Listener> listener();

  // ---- Who clients are --------------------------------------------------------------------------

  /// What the server is told of `name`; by default each name has a pid of its own, uid and gid
  /// 1000.
  void peer(const std::string& name, const Centrum::Peer& peer);
  /// By default all may.
  void mayWrite(const std::string& name, bool may);

  // ---- How it behaves ---------------------------------------------------------------------------

  /// How long a piece travels, in seconds, for pieces that set out from now on.
  void delay(double least, double most);
  /// Bytes that a connection made from now on holds in each direction, unread ones included.
  void capacity(std::size_t bytes);
  /// The speed of each direction of the connections of `name`; 0: as fast as pieces go.
  void rate(const std::string& name, double bytesPerSecond);
  /// Whether connect() finds the listener.
  void listening(bool can);

  // ---- Faults -----------------------------------------------------------------------------------

  /// Breaks connections, each direction at a random byte: what had not arrived by then is lost, and
  /// each side sees the end after a delay of its own.
  void cut(const std::string& name);
  void cutAll();
  /// A client that is frozen reads nothing, and nothing that it writes arrives; its connections
  /// stay until it thaws, unless they are cut.
  void freeze(const std::string& name, bool frozen);

  /// A number less than `bound`, from the same source: for decisions of the run.
  std::uint32_t random(std::uint32_t bound);
  /// Connections that both sides hold.
  std::size_t connections() const;
  /// Bytes that arrived at `name`, in all its connections.
  std::uint64_t bytesTo(const std::string& name) const;

 private:
  class Impl;
  std::shared_ptr<Impl> impl_;  // shared with what it made
};
